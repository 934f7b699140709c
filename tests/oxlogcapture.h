// Collects every line the library's console sink would emit while an instance
// is alive, so tests can assert on warnings and errors.
#ifndef TESTS_OXLOGCAPTURE_H
#define TESTS_OXLOGCAPTURE_H

#include "core/log/oxlogsink.h"

#include <mutex>
#include <string>
#include <vector>

class OxLogCapture {
public:
    struct Line {
        uint32_t level;
        std::string text;
    };

    OxLogCapture() { OxLogSetHook(&OxLogCapture::collect, this); }
    ~OxLogCapture() { OxLogSetHook(nullptr, nullptr); }
    OxLogCapture(const OxLogCapture&) = delete;
    OxLogCapture& operator=(const OxLogCapture&) = delete;

    std::vector<Line> lines() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }
    // Number of captured lines that contain the given text.
    size_t count(const std::string& text) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        size_t n = 0;
        for (const Line& l : m_lines)
            n += l.text.find(text) != std::string::npos;
        return n;
    }
    size_t size() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines.size();
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.clear();
    }

private:
    static void collect(void* context, uint32_t level, const char* line)
    {
        auto* self = static_cast<OxLogCapture*>(context);
        std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_lines.push_back({level, line});
    }

    mutable std::mutex m_mutex;
    std::vector<Line> m_lines;
};

#endif // TESTS_OXLOGCAPTURE_H
