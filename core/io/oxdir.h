// COxDir: operations on directories named by absolute paths, the temporary
// directory, and the mounting of resource files. The class has no instances;
// every operation is a static member and reports failures by its return
// value and a warning on the debug output.
//
// A resource file is a read-only tree of named data blocks (the layout is
// described in core/io/oxresourceimage.h). Once registered under a root
// path, every path at or below the root is served from the tree by the
// resource file engine, so COxFile and everything built on it read
// resources like plain files:
//
//     COxDir::registerResource(COxString("/data/app/grades.pack"), COxString("/grades"));
//     COxFile file(COxString("/grades/film/warm.lut"));   // read-only
//
// Resources stay mounted for the rest of the process. Several files may share
// one root; a path is looked up in them in registration order.
#ifndef OXDIR_H
#define OXDIR_H

#include "core/oxglobal.h"

class COxString;

class COxDir {
public:
    COxDir() = delete;

    // Creates the directory and every missing parent (mode 0777 before the
    // umask). True when the directory exists afterwards, also when it was
    // there already; false for an empty or relative path, or when something
    // that is not a directory stands in the way.
    static bool mkpath(const COxString& path);

    // Removes the one (empty) directory.
    static bool rmdir(const COxString& path);

    // Removes the directory with everything in it, hidden entries included.
    // Symbolic links are removed, never followed. Entries that lack the
    // owner's write permission get it for a second attempt, and directories
    // the owner cannot list or change get full owner access first. The walk
    // goes on past entries it cannot remove and then reports false; false
    // also for a path that is no directory (a link to one included).
    static bool removeRecursively(const COxString& path);

    // The directory for temporary files: TMPDIR, or "/tmp" when that is
    // unset or empty, as a clean path.
    static COxString tempPath();

    // path without empty and "." segments, with each ".." taking away the
    // segment before it (at the root it is dropped), and without a trailing
    // "/" unless it is the root. An empty path stays empty; a relative one
    // that cancels out entirely becomes ".".
    static COxString cleanPath(const COxString& path);

    // Mounts the resource file (mapped read-only and private) or the image
    // at data under rootPath, an absolute path; an empty rootPath is "/".
    // The image is checked whole before it is mounted: a damaged one is
    // refused with a warning. The form without a size trusts the image to
    // be complete (one compiled into the program); with a size, no byte
    // outside data .. data + size is ever read. data must stay valid for
    // the rest of the process.
    static bool registerResource(const COxString& fileName, const COxString& rootPath);
    static bool registerResource(const uchar* data, const COxString& rootPath);
    static bool registerResource(const uchar* data, uint64_t size, const COxString& rootPath);
};

#endif // OXDIR_H
