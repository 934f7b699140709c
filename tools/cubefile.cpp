#include "tools/cubefile.h"

#include "tools/fileio.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace oxtool {

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::string_view trimmed(std::string_view s)
{
    while (!s.empty() && isSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

// Splits off the first whitespace-separated word of s.
std::string_view nextWord(std::string_view* s)
{
    *s = trimmed(*s);
    size_t end = 0;
    while (end < s->size() && !isSpace((*s)[end]))
        ++end;
    std::string_view word = s->substr(0, end);
    s->remove_prefix(end);
    return word;
}

bool parseFloat(std::string_view word, float* value)
{
    if (word.empty())
        return false;
    std::string copy(word);
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(copy.c_str(), &end);
    if (end != copy.c_str() + copy.size() || errno == ERANGE || !std::isfinite(v))
        return false;
    *value = float(v);
    return true;
}

// Reads exactly count numbers from the rest of a line.
bool parseFloats(std::string_view rest, float* values, int count)
{
    for (int i = 0; i < count; ++i) {
        if (!parseFloat(nextWord(&rest), &values[i]))
            return false;
    }
    return trimmed(rest).empty();
}

bool parseInt(std::string_view rest, long* value)
{
    std::string word(nextWord(&rest));
    if (word.empty() || !trimmed(rest).empty())
        return false;
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(word.c_str(), &end, 10);
    if (end != word.c_str() + word.size() || errno == ERANGE)
        return false;
    *value = v;
    return true;
}

std::string lineError(int line, const std::string& text)
{
    return "line " + std::to_string(line) + ": " + text;
}

// Parsing state across lines: keywords first, then the entries.
class CubeParser {
public:
    explicit CubeParser(CubeLut* lut) : m_lut(lut) {}

    bool line(int number, std::string_view text, std::string* error);
    bool finish(int lastLine, std::string* error);

private:
    bool keyword(int number, std::string_view word, std::string_view rest, std::string* error);
    bool entry(int number, std::string_view text, std::string* error);

    CubeLut* m_lut;
    bool m_sawSize = false;
    size_t m_entries = 0;
};

bool CubeParser::line(int number, std::string_view text, std::string* error)
{
    std::string_view rest = trimmed(text);
    if (rest.empty() || rest.front() == '#')
        return true;
    const char first = rest.front();
    if ((first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z')) {
        std::string_view word = nextWord(&rest);
        return keyword(number, word, rest, error);
    }
    const size_t hash = rest.find('#');
    if (hash != std::string_view::npos)
        rest = trimmed(rest.substr(0, hash));
    return entry(number, rest, error);
}

bool CubeParser::keyword(int number, std::string_view word, std::string_view rest,
                         std::string* error)
{
    const std::string name(word);
    if (name == "LUT_1D_SIZE" || name == "LUT_1D_INPUT_RANGE") {
        *error = lineError(number, "only 3D LUTs are supported (found " + name + ")");
        return false;
    }
    if (m_entries > 0) {
        *error = lineError(number, name + " after the table entries");
        return false;
    }
    if (name == "TITLE") {
        std::string_view title = trimmed(rest);
        if (title.size() >= 2 && title.front() == '"' && title.back() == '"')
            title = title.substr(1, title.size() - 2);
        m_lut->title = std::string(title);
        return true;
    }
    // Everything after the title may carry a trailing comment.
    const size_t hash = rest.find('#');
    if (hash != std::string_view::npos)
        rest = rest.substr(0, hash);
    if (name == "LUT_3D_SIZE") {
        long size = 0;
        if (m_sawSize) {
            *error = lineError(number, "LUT_3D_SIZE given twice");
            return false;
        }
        if (!parseInt(rest, &size)) {
            *error = lineError(number, "LUT_3D_SIZE needs one whole number");
            return false;
        }
        if (size > kMaxCubeSize) {
            *error = lineError(number, "LUT_3D_SIZE " + std::to_string(size) +
                                           " is too large (at most " +
                                           std::to_string(kMaxCubeSize) + ")");
            return false;
        }
        if (size < kMinCubeSize) {
            *error = lineError(number, "LUT_3D_SIZE " + std::to_string(size) +
                                           " is too small (at least " +
                                           std::to_string(kMinCubeSize) + ")");
            return false;
        }
        m_lut->size = int(size);
        m_lut->rgb.assign(m_lut->entryCount() * 3, 0.0f);
        m_sawSize = true;
        return true;
    }
    if (name == "DOMAIN_MIN" || name == "DOMAIN_MAX") {
        const bool isMin = name == "DOMAIN_MIN";
        if (!parseFloats(rest, isMin ? m_lut->domainMin : m_lut->domainMax, 3)) {
            *error = lineError(number, name + " needs three numbers");
            return false;
        }
        (isMin ? m_lut->domainMinLine : m_lut->domainMaxLine) = number;
        return true;
    }
    if (name == "LUT_3D_INPUT_RANGE") {
        float range[2];
        if (!parseFloats(rest, range, 2)) {
            *error = lineError(number, name + " needs two numbers");
            return false;
        }
        for (int c = 0; c < 3; ++c) {
            m_lut->domainMin[c] = range[0];
            m_lut->domainMax[c] = range[1];
        }
        m_lut->domainMinLine = m_lut->domainMaxLine = number;
        return true;
    }
    *error = lineError(number, "unknown keyword '" + name + "'");
    return false;
}

bool CubeParser::entry(int number, std::string_view text, std::string* error)
{
    if (!m_sawSize) {
        *error = lineError(number, "table entry before LUT_3D_SIZE");
        return false;
    }
    if (m_entries == m_lut->entryCount()) {
        *error = lineError(number, "more than the " + std::to_string(m_lut->entryCount()) +
                                       " entries of LUT_3D_SIZE " +
                                       std::to_string(m_lut->size));
        return false;
    }
    if (!parseFloats(text, &m_lut->rgb[m_entries * 3], 3)) {
        *error = lineError(number, "expected three numbers, found '" + std::string(text) + "'");
        return false;
    }
    ++m_entries;
    return true;
}

bool CubeParser::finish(int lastLine, std::string* error)
{
    if (!m_sawSize) {
        *error = "no LUT_3D_SIZE line";
        return false;
    }
    if (m_entries != m_lut->entryCount()) {
        *error = lineError(lastLine, "file ends after " + std::to_string(m_entries) +
                                         " of the " + std::to_string(m_lut->entryCount()) +
                                         " entries of LUT_3D_SIZE " +
                                         std::to_string(m_lut->size));
        return false;
    }
    return true;
}

} // namespace

bool parseCube(const std::string& text, CubeLut* lut, std::string* error)
{
    *lut = CubeLut();
    CubeParser parser(lut);
    std::string_view rest(text);
    if (rest.substr(0, 3) == "\xEF\xBB\xBF")
        rest.remove_prefix(3);
    int number = 0;
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (!parser.line(++number, line, error))
            return false;
    }
    return parser.finish(number, error);
}

bool readCubeFile(const std::string& path, CubeLut* lut, std::string* error)
{
    std::string text;
    return readWholeFile(path, &text, error) && parseCube(text, lut, error);
}

} // namespace oxtool
