// Internal: COxResourceInfo, one resource image mounted under an absolute
// root path, and the process-wide list of the mounted ones in registration
// order. A mounted image stays for the rest of the process; the list only
// grows, so a reader walks it without a lock.
#ifndef OXRESOURCEINFO_P_H
#define OXRESOURCEINFO_P_H

#include "core/io/oxresourceimage.h"
#include "core/text/oxstring.h"

#include <atomic>

class COxResourceInfo {
public:
    // rootPath is cleaned (see COxDir::cleanPath); empty means "/".
    explicit COxResourceInfo(const COxString& rootPath);
    ~COxResourceInfo(); // releases a mapping

    // Maps the file read-only and private, or takes size bytes at data (the
    // caller keeps them alive for the rest of the process), and checks the
    // header and the tree. False, with a warning, when they are unusable.
    bool loadFile(const COxString& fileName);
    bool loadMemory(const uchar* data, uint64_t size);

    const COxString& rootPath() const { return m_root; }
    const COxResourceImage& image() const { return m_image; }

    // Whether the cleaned absolute path lies at or below the root, and then
    // where its part below the root starts (past the separating "/").
    bool covers(const COxString& path, int* tailAt) const;
    // The entry the cleaned path names in this image.
    bool find(const COxString& path, SOxResourceEntry* entry) const;

    // Appends a loaded resource to the list, which takes it over.
    static void append(COxResourceInfo* info);
    static COxResourceInfo* first();
    COxResourceInfo* next() const { return m_next.load(std::memory_order_acquire); }

    // Whether any mounted root covers path (in any form), and the first
    // entry, in registration order, that the path names. *info is null when
    // no image holds the path.
    static bool lookup(const COxString& path, const COxResourceInfo** info, SOxResourceEntry* entry);

private:
    OX_DISABLE_COPY(COxResourceInfo)
    bool check(const char* what, const COxString& name);

    COxResourceImage m_image;
    COxString m_root;
    void* m_mapping;
    size_t m_mappingLength;
    std::atomic<COxResourceInfo*> m_next;
};

#endif // OXRESOURCEINFO_P_H
