// COxDir: operations on directories named by absolute paths. The class has
// no instances; every operation is a static member and reports failures by
// its return value and a warning on the debug output.
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
};

#endif // OXDIR_H
