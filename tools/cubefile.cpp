#include "tools/cubefile.h"

#include "tools/fileio.h"

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
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
    // Numbers a float cannot hold are refused rather than made infinite.
    if (end != copy.c_str() + copy.size() || errno == ERANGE || !(std::fabs(v) <= FLT_MAX))
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
    return line > 0 ? "line " + std::to_string(line) + ": " + text : text;
}

std::string formatNumber(float v)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", double(v));
    return text;
}

// A domain as a keyword gave it, and where.
struct DomainKeyword {
    float min[3] = {0.0f, 0.0f, 0.0f};
    float max[3] = {1.0f, 1.0f, 1.0f};
    int line = 0;  // the last line that set part of it; 0 when never given

    bool isUnit() const
    {
        for (int c = 0; c < 3; ++c)
            if (min[c] != 0.0f || max[c] != 1.0f)
                return false;
        return true;
    }
};

// Parsing state across lines: keywords first, then the entries; between the
// entries of a 1D shaper and of a 3D table, keywords again.
class CubeParser {
public:
    explicit CubeParser(CubeLut* lut) : m_lut(lut) {}

    bool line(int number, std::string_view text, std::string* error);
    bool finish(int lastLine, std::string* error);

private:
    bool keyword(int number, const std::string& name, std::string_view rest,
                 std::string* error);
    bool size(int number, const std::string& name, std::string_view rest, std::string* error);
    bool entry(int number, std::string_view text, std::string* error);
    bool applyDomain(CubeTable* table, const DomainKeyword& domain, std::string* error);
    size_t expectedEntries() const
    {
        const size_t n = size_t(m_lut->cube.size);
        return size_t(m_lut->shaper.size) + n * n * n;
    }

    CubeLut* m_lut;
    size_t m_entries = 0;
    DomainKeyword m_fileDomain;  // DOMAIN_MIN, DOMAIN_MAX
    DomainKeyword m_range1D;     // LUT_1D_INPUT_RANGE
    DomainKeyword m_range3D;     // LUT_3D_INPUT_RANGE
};

bool CubeParser::line(int number, std::string_view text, std::string* error)
{
    std::string_view rest = trimmed(text);
    if (rest.empty() || rest.front() == '#')
        return true;
    const char first = rest.front();
    if ((first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z')) {
        const std::string name(nextWord(&rest));
        return keyword(number, name, rest, error);
    }
    const size_t hash = rest.find('#');
    if (hash != std::string_view::npos)
        rest = trimmed(rest.substr(0, hash));
    return entry(number, rest, error);
}

bool CubeParser::keyword(int number, const std::string& name, std::string_view rest,
                         std::string* error)
{
    // Keywords come before a table's entries: before all of them, or
    // between a complete 1D shaper and the 3D table.
    const bool betweenTables = m_lut->hasShaper() && m_entries == size_t(m_lut->shaper.size);
    if (m_entries > 0 && !betweenTables) {
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
    if (name == "LUT_3D_SIZE" || name == "LUT_1D_SIZE")
        return size(number, name, rest, error);
    if (name == "DOMAIN_MIN" || name == "DOMAIN_MAX") {
        const bool isMin = name == "DOMAIN_MIN";
        if (!parseFloats(rest, isMin ? m_fileDomain.min : m_fileDomain.max, 3)) {
            *error = lineError(number, name + " needs three numbers");
            return false;
        }
        m_fileDomain.line = number;
        return true;
    }
    if (name == "LUT_1D_INPUT_RANGE" || name == "LUT_3D_INPUT_RANGE") {
        float range[2];
        if (!parseFloats(rest, range, 2)) {
            *error = lineError(number, name + " needs two numbers");
            return false;
        }
        DomainKeyword& domain = name == "LUT_1D_INPUT_RANGE" ? m_range1D : m_range3D;
        for (int c = 0; c < 3; ++c) {
            domain.min[c] = range[0];
            domain.max[c] = range[1];
        }
        domain.line = number;
        return true;
    }
    *error = lineError(number, "unknown keyword '" + name + "'");
    return false;
}

bool CubeParser::size(int number, const std::string& name, std::string_view rest,
                      std::string* error)
{
    const bool is3D = name == "LUT_3D_SIZE";
    CubeTable& table = is3D ? m_lut->cube : m_lut->shaper;
    const long largest = is3D ? kMaxCubeSize : kMaxCube1DSize;
    long size = 0;
    if (table.size > 0) {
        *error = lineError(number, name + " given twice");
        return false;
    }
    if (!parseInt(rest, &size)) {
        *error = lineError(number, name + " needs one whole number");
        return false;
    }
    if (size > largest || size < kMinCubeSize) {
        *error = lineError(number, name + " " + std::to_string(size) + " is too " +
                                       (size > largest ? "large" : "small") + ": a " +
                                       (is3D ? "3D table has " : "1D table has ") +
                                       std::to_string(kMinCubeSize) + " to " +
                                       std::to_string(largest) +
                                       (is3D ? " points per side" : " entries"));
        return false;
    }
    table.size = int(size);
    table.rgb.assign((is3D ? size_t(size) * size * size : size_t(size)) * 3, 0.0f);
    return true;
}

bool CubeParser::entry(int number, std::string_view text, std::string* error)
{
    if (!m_lut->has3D() && !m_lut->hasShaper()) {
        *error = lineError(number, "table entry before LUT_3D_SIZE or LUT_1D_SIZE");
        return false;
    }
    if (m_entries == expectedEntries()) {
        *error = lineError(number, "more than the " + std::to_string(expectedEntries()) +
                                       " entries of " + m_lut->describe());
        return false;
    }
    const size_t shaperEntries = size_t(m_lut->shaper.size);
    float* rgb = m_entries < shaperEntries ? &m_lut->shaper.rgb[m_entries * 3]
                                           : &m_lut->cube.rgb[(m_entries - shaperEntries) * 3];
    if (!parseFloats(text, rgb, 3)) {
        *error = lineError(number, "expected three numbers, found '" + std::string(text) + "'");
        return false;
    }
    ++m_entries;
    return true;
}

bool CubeParser::applyDomain(CubeTable* table, const DomainKeyword& domain, std::string* error)
{
    static const char* const kChannels[3] = {"red", "green", "blue"};
    for (int c = 0; c < 3; ++c) {
        if (!(domain.min[c] < domain.max[c])) {
            *error = lineError(domain.line, "the domain of " + m_lut->describe() +
                                                " is empty for " + kChannels[c] + ": its maximum " +
                                                formatNumber(domain.max[c]) +
                                                " is not above its minimum " +
                                                formatNumber(domain.min[c]));
            return false;
        }
        table->domainMin[c] = domain.min[c];
        table->domainMax[c] = domain.max[c];
    }
    return true;
}

bool CubeParser::finish(int lastLine, std::string* error)
{
    if (!m_lut->has3D() && !m_lut->hasShaper()) {
        *error = "not a .cube table: no LUT_3D_SIZE or LUT_1D_SIZE line";
        return false;
    }
    if (m_entries != expectedEntries()) {
        *error = lineError(lastLine, "file ends after " + std::to_string(m_entries) + " of the " +
                                         std::to_string(expectedEntries()) + " entries of " +
                                         m_lut->describe());
        return false;
    }
    // DOMAIN_MIN/DOMAIN_MAX belong to the table that sees the input.
    const DomainKeyword& domain1D = m_range1D.line ? m_range1D : m_fileDomain;
    const DomainKeyword& domain3D =
        m_range3D.line ? m_range3D : (m_lut->hasShaper() ? DomainKeyword() : m_fileDomain);
    if ((m_lut->hasShaper() && !applyDomain(&m_lut->shaper, domain1D, error)) ||
        (m_lut->has3D() && !applyDomain(&m_lut->cube, domain3D, error)))
        return false;
    const std::pair<const DomainKeyword*, bool> ranges[] = {{&m_range1D, m_lut->hasShaper()},
                                                            {&m_range3D, m_lut->has3D()}};
    for (const auto& range : ranges) {
        if (range.first->line && !range.second && !range.first->isUnit())
            m_lut->warnings.push_back(lineError(
                range.first->line, std::string(range.first == &m_range1D ? "LUT_1D" : "LUT_3D") +
                                       "_INPUT_RANGE ignored: the file has no " +
                                       (range.first == &m_range1D ? "1D" : "3D") + " table"));
    }
    return true;
}

} // namespace

std::string CubeLut::describe() const
{
    const std::string table3D = "a 3D table of " + std::to_string(cube.size) + " points per side";
    if (!hasShaper())
        return table3D;
    const std::string entries = std::to_string(shaper.size) + " entries";
    return has3D() ? "a 1D shaper of " + entries + " and " + table3D : "a 1D table of " + entries;
}

bool parseCube(const std::string& text, CubeLut* lut, std::string* error)
{
    *lut = CubeLut();
    CubeParser parser(lut);
    std::string_view rest(text);
    if (rest.substr(0, 3) == "\xEF\xBB\xBF")
        rest.remove_prefix(3);
    int number = 0;
    while (!rest.empty()) {
        // A line ends at LF, CR LF or a lone CR.
        const size_t end = rest.find_first_of("\r\n");
        std::string_view line = rest.substr(0, end);
        size_t next = end == std::string_view::npos ? rest.size() : end + 1;
        if (end != std::string_view::npos && rest[end] == '\r' && next < rest.size() &&
            rest[next] == '\n')
            ++next;
        rest.remove_prefix(next);
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
