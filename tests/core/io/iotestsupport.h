// Helpers of the file tests: a fresh temporary directory removed with all its
// content, and plain byte access to files behind the library's back.
#ifndef TESTS_CORE_IO_IOTESTSUPPORT_H
#define TESTS_CORE_IO_IOTESTSUPPORT_H

#include "core/text/oxstring.h"

#include <cstdio>
#include <cstdlib>
#include <ftw.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

class OxTempDir {
public:
    // A new directory below base (TMPDIR or /tmp when empty).
    explicit OxTempDir(std::string base = std::string())
    {
        if (base.empty()) {
            const char* tmp = std::getenv("TMPDIR");
            base = (tmp && *tmp) ? tmp : "/tmp";
        }
        std::string pattern = base + "/oxiotest.XXXXXX";
        if (mkdtemp(&pattern[0]))
            m_path = pattern;
    }
    ~OxTempDir()
    {
        if (!m_path.empty())
            nftw(m_path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
    OxTempDir(const OxTempDir&) = delete;
    OxTempDir& operator=(const OxTempDir&) = delete;

    bool isValid() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    COxString name(const std::string& name) const { return COxString::fromLocal8Bit(file(name).c_str()); }

private:
    static int removeEntry(const char* path, const struct stat*, int, struct FTW*)
    {
        ::remove(path);
        return 0;
    }

    std::string m_path;
};

inline COxString oxName(const std::string& path)
{
    return COxString::fromLocal8Bit(path.c_str());
}

inline void writeBytes(const std::string& path, const std::string& content)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return;
    std::fwrite(content.data(), 1, content.size(), f);
    std::fclose(f);
}

// The file's content; "<missing>" when it cannot be opened.
inline std::string readBytes(const std::string& path)
{
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
        return "<missing>";
    std::string content;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
        content.append(buffer, n);
    std::fclose(f);
    return content;
}

inline bool pathExists(const std::string& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

inline std::string str(const COxByteArray& bytes)
{
    return std::string(bytes.constData(), size_t(bytes.size()));
}

inline std::string str(const COxString& text)
{
    return str(text.toUtf8());
}

#endif // TESTS_CORE_IO_IOTESTSUPPORT_H
