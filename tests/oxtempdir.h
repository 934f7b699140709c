// A fresh temporary directory, removed with all its content when the object
// goes away.
#ifndef TESTS_OXTEMPDIR_H
#define TESTS_OXTEMPDIR_H

#include "core/text/oxstring.h"

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <ftw.h>
#include <string>
#include <vector>

class OxTempDir {
public:
    // A new directory below base (TMPDIR or /tmp when empty).
    explicit OxTempDir(std::string base = std::string())
    {
        if (base.empty()) {
            const char* tmp = std::getenv("TMPDIR");
            base = (tmp && *tmp) ? tmp : "/tmp";
        }
        std::string pattern = base + "/oxtest.XXXXXX";
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

    // The names in the directory itself, or in a subdirectory of it.
    std::vector<std::string> entries(const std::string& subdirectory = std::string()) const
    {
        std::vector<std::string> names;
        const std::string path = subdirectory.empty() ? m_path : file(subdirectory);
        if (DIR* dir = opendir(path.c_str())) {
            while (const dirent* e = readdir(dir))
                if (e->d_name[0] != '.')
                    names.push_back(e->d_name);
            closedir(dir);
        }
        return names;
    }

private:
    static int removeEntry(const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }

    std::string m_path;
};

#endif // TESTS_OXTEMPDIR_H
