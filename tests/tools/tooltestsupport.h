// Helpers shared by the oxlut tool tests: a scratch directory, whole-file
// reads and writes, and .cube texts with known entries.
#ifndef TESTS_TOOLS_TOOLTESTSUPPORT_H
#define TESTS_TOOLS_TOOLTESTSUPPORT_H

#include "oxtempdir.h"

#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace tooltest {

using ScratchDir = OxTempDir;

inline void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

inline bool fileExists(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

// A .cube text of size n whose entry for grid indices (r, g, b) is
// colour(r, g, b), written in .cube order (red fastest).
inline std::string cubeText(int n, const std::function<std::vector<double>(int, int, int)>& colour,
                            const std::string& header = "")
{
    std::ostringstream out;
    out.precision(9);
    out << header << "LUT_3D_SIZE " << n << "\n";
    for (int b = 0; b < n; ++b)
        for (int g = 0; g < n; ++g)
            for (int r = 0; r < n; ++r) {
                const std::vector<double> c = colour(r, g, b);
                out << c[0] << ' ' << c[1] << ' ' << c[2] << "\n";
            }
    return out.str();
}

inline std::string identityCube(int n, const std::string& header = "")
{
    return cubeText(n, [n](int r, int g, int b) {
        return std::vector<double>{double(r) / (n - 1), double(g) / (n - 1), double(b) / (n - 1)};
    }, header);
}

} // namespace tooltest

#endif // TESTS_TOOLS_TOOLTESTSUPPORT_H
