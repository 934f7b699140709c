#include "core/io/oxresourceinfo_p.h"

#include "core/io/oxdir.h"
#include "core/io/oxfileengine.h"
#include "core/log/oxdebug.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The mounted resources: appended under the mutex, read without it.
struct SOxResourceList {
    std::mutex mutex;
    std::atomic<COxResourceInfo*> head{nullptr};
    COxResourceInfo* tail = nullptr;

    ~SOxResourceList()
    {
        for (COxResourceInfo* info = head.load(); info;) {
            COxResourceInfo* next = info->next();
            delete info;
            info = next;
        }
    }
};

SOxResourceList& resourceList()
{
    static SOxResourceList list;
    return list;
}

COxString nameText(const SOxResourceName& name)
{
    COxString text(int(name.length), Ox::Uninitialized);
    COxChar* out = text.data();
    for (int i = 0; i < text.size(); ++i)
        out[i] = COxChar(SOxResourceFormat::read16(name.units + 2 * i));
    return text;
}

} // namespace

COxResourceInfo::COxResourceInfo(const COxString& rootPath)
    : m_root(COxDir::cleanPath(rootPath.isEmpty() ? COxString("/") : rootPath))
    , m_mapping(nullptr)
    , m_mappingLength(0)
    , m_next(nullptr)
{
}

COxResourceInfo::~COxResourceInfo()
{
    if (m_mapping)
        munmap(m_mapping, m_mappingLength);
}

bool COxResourceInfo::loadFile(const COxString& fileName)
{
    const COxByteArray native = fileName.toLocal8Bit();
    int fd;
    do {
        fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC);
    } while (fd == -1 && errno == EINTR);
    struct stat st;
    int failure = fd == -1 ? errno : (fstat(fd, &st) != 0 ? errno : 0);
    if (failure == 0 && !S_ISREG(st.st_mode))
        failure = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
    if (failure == 0 && st.st_size > 0) {
        void* start = mmap(nullptr, size_t(st.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
        if (start == MAP_FAILED) {
            failure = errno;
        } else {
            m_mapping = start;
            m_mappingLength = size_t(st.st_size);
        }
    }
    if (fd != -1)
        ::close(fd);
    if (failure != 0) {
        oxWarning("COxResourceInfo: Cannot map resource file [%s]: %s", native.constData(),
                  OxErrnoText(failure).toLocal8Bit().constData());
        return false;
    }
    if (check(m_image.open(static_cast<const uint8_t*>(m_mapping), m_mappingLength), fileName))
        return true;
    if (m_mapping)
        munmap(m_mapping, m_mappingLength);
    m_mapping = nullptr;
    return false;
}

bool COxResourceInfo::loadMemory(const uchar* data, uint64_t size)
{
    return check(m_image.open(data, size), COxString::number(reinterpret_cast<uintptr_t>(data), 16).prepend("0x"));
}

// Finishes a load: the header's verdict, then the tree's.
bool COxResourceInfo::check(const char* problem, const COxString& name)
{
    if (!problem) {
        problem = m_image.checkTree([this](const SOxResourceEntry& entry) {
            // The root's name is never read otherwise, so it may lie anywhere:
            // one outside the image is reported as empty.
            SOxResourceName n;
            if (!m_image.name(entry, &n))
                n = SOxResourceName();
            oxWarning("COxResourceInfo: Resource [%s] has both data and children!",
                      nameText(n).toLocal8Bit().constData());
        });
    }
    if (problem)
        oxWarning("COxResourceInfo: Resource file [%s] refused: %s", name.toLocal8Bit().constData(), problem);
    return !problem;
}

bool COxResourceInfo::covers(const COxString& path, int* tailAt) const
{
    if (m_root.size() == 1) { // "/"
        *tailAt = 1;
        return path.startsWith(COxChar('/'));
    }
    if (!path.startsWith(m_root))
        return false;
    if (path.size() == m_root.size()) {
        *tailAt = path.size();
        return true;
    }
    *tailAt = m_root.size() + 1;
    return path.at(m_root.size()) == COxChar('/');
}

bool COxResourceInfo::find(const COxString& path, SOxResourceEntry* entry) const
{
    int at = 0;
    if (!covers(path, &at) || !m_image.entry(0, entry))
        return false;
    const uint16_t* units = reinterpret_cast<const uint16_t*>(path.utf16());
    while (at < path.size()) {
        int end = path.indexOf(COxChar('/'), at);
        if (end < 0)
            end = path.size();
        if (!m_image.findChild(*entry, units + at, size_t(end - at), entry))
            return false;
        at = end + 1;
    }
    return true;
}

void COxResourceInfo::append(COxResourceInfo* info)
{
    SOxResourceList& list = resourceList();
    std::lock_guard<std::mutex> lock(list.mutex);
    if (list.tail)
        list.tail->m_next.store(info, std::memory_order_release);
    else
        list.head.store(info, std::memory_order_release);
    list.tail = info;
}

COxResourceInfo* COxResourceInfo::first()
{
    return resourceList().head.load(std::memory_order_acquire);
}

bool COxResourceInfo::lookup(const COxString& path, const COxResourceInfo** info, SOxResourceEntry* entry)
{
    *info = nullptr;
    COxResourceInfo* mounted = first();
    if (!mounted || !path.startsWith(COxChar('/')))
        return false;
    const COxString clean = COxDir::cleanPath(path);
    bool covered = false;
    for (; mounted; mounted = mounted->next()) {
        int at;
        if (!mounted->covers(clean, &at))
            continue;
        covered = true;
        if (mounted->find(clean, entry)) {
            *info = mounted;
            break;
        }
    }
    return covered;
}
