#include "core/text/oxstring.h"
#include "lut/lut3dtable.h"
#include "lut/lutfiledata.h"
#include "lut/oxlut3d.h"
#include "tests/lut/testsupport_lutfile.h"
#include "tests/oxlogcapture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

using namespace luttest;

bool endsWith(const std::string& text, const std::string& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// Lines of the capture that end with the message.
size_t linesEndingWith(const OxLogCapture& log, const std::string& message)
{
    size_t n = 0;
    for (const OxLogCapture::Line& line : log.lines())
        n += endsWith(line.text, message);
    return n;
}

TEST(LutFileData, EachBrokenFileFailsWithItsMessageOrSilently)
{
    const LutFileLayout valid = lutFileLayout(17, 3);
    const std::vector<uint8_t> validBytes = lutFileBytes(valid);
    auto changed = [&](auto change) {
        LutFileLayout s = valid;
        change(s);
        return lutFileBytes(s);
    };
    auto prefix = [&](size_t n) { return std::vector<uint8_t>(validBytes.begin(), validBytes.begin() + n); };

    struct Case {
        const char* name;
        std::vector<uint8_t> bytes;
        const char* message; // null: no message at all
    };
    const Case cases[] = {
        {"empty", {}, nullptr},
        {"short magic", prefix(5), nullptr},
        {"wrong magic", changed([](LutFileLayout& s) { s.magic = ".ZR-LUT!"; }), "Invalid lut file signature!"},
        {"magic in another case", changed([](LutFileLayout& s) { s.magic = ".zr-lut "; }), "Invalid lut file signature!"},
        {"version cut", prefix(10), nullptr},
        {"version 2", changed([](LutFileLayout& s) { s.version = 2; }), nullptr},
        {"version 0", changed([](LutFileLayout& s) { s.version = 0; }), nullptr},
        {"short header", prefix(47), "Failed to read lut file header!"},
        {"element type 1", changed([](LutFileLayout& s) { s.elementType = 1; }), nullptr},
        {"no levels", changed([](LutFileLayout& s) { s.levelCount = 0; }), nullptr},
        {"66 levels", lutFileBytes(lutFileLayout(66, 0)), nullptr},
        {"levels past the end", changed([](LutFileLayout& s) { s.levelOffset = uint64_t(1) << 30; }),
         "Failed to read lut level values!"},
        {"offset no file position can hold", changed([](LutFileLayout& s) { s.levelOffset = ~uint64_t(0); }), nullptr},
        {"short levels", changed([](LutFileLayout& s) { s.levels.resize(16); s.grid.clear(); }),
         "Failed to read lut level values!"},
        {"short grid", changed([](LutFileLayout& s) { s.grid.pop_back(); }), "Failed to read lut data!"},
        {"1D", changed([](LutFileLayout& s) { s.dimensions = 0; s.grid.resize(17 * 3); }),
         "We only support 3D LUT file!"},
    };

    LutTempDir dir;
    const int descriptors = openDescriptorCount();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.write("broken.lut", c.bytes);
        OxLogCapture log;
        EXPECT_EQ(OxcLut3DLoadTableFromFile(path.c_str()), nullptr);
        if (c.message) {
            ASSERT_EQ(log.size(), 1u);
            EXPECT_TRUE(endsWith(log.lines()[0].text, c.message)) << log.lines()[0].text;
            EXPECT_EQ(log.lines()[0].level, 3u);
        } else {
            EXPECT_EQ(log.size(), 0u);
        }

        // The record itself: empty after every failure; a 1D file loads.
        LutFileData record(COxString::fromUtf8(path.c_str()));
        const bool is1D = strcmp(c.name, "1D") == 0;
        EXPECT_EQ(record.load(), is1D);
        EXPECT_EQ(record.levelCount(), is1D ? 17u : 0u);
        EXPECT_EQ(record.levelValues() != nullptr, is1D);
        EXPECT_EQ(record.gridBytes() != nullptr, is1D);
        if (is1D) {
            EXPECT_FALSE(record.is3D());
            EXPECT_EQ(memcmp(record.gridBytes(), validBytes.data() + 48 + 17 * 4, 17 * 3), 0);
        }
    }
    EXPECT_EQ(openDescriptorCount(), descriptors);
}

TEST(LutFileData, OpenFailureNamesThePath)
{
    LutTempDir dir;
    const std::string missing = dir.file("missing.lut");
    {
        OxLogCapture log;
        EXPECT_EQ(OxcLut3DLoadTableFromFile(missing.c_str()), nullptr);
        EXPECT_EQ(log.count("Failed to open lut file"), 1u);
        EXPECT_EQ(linesEndingWith(log, "Failed to open lut file " + missing), 1u);
    }
    {
        // A null path is an empty name.
        OxLogCapture log;
        EXPECT_EQ(OxcLut3DLoadTableFromFile(nullptr), nullptr);
        EXPECT_EQ(linesEndingWith(log, "Failed to open lut file "), 1u);
    }
    {
        // UTF-8 names reach the file system and the message unchanged.
        const std::string name = dir.file("gr\xc3\xa4" "de.lut");
        OxLogCapture log;
        EXPECT_EQ(OxcLut3DLoadTableFromFile(name.c_str()), nullptr);
        EXPECT_EQ(linesEndingWith(log, "Failed to open lut file " + name), 1u);
        dir.write("gr\xc3\xa4" "de.lut", lutFileLayout(2, 0));
        Lut3DTable* table = OxcLut3DLoadTableFromFile(name.c_str());
        EXPECT_NE(table, nullptr);
        OxcLut3DDestroyTable(table);
    }
    OxcLut3DDestroyTable(nullptr);
}

TEST(LutFileData, LoadsEveryTableSizeIntoThePaddedGrid)
{
    LutTempDir dir;
    for (uint32_t n : {1u, 2u, 17u, 33u, 65u}) {
        SCOPED_TRACE(n);
        LutFileLayout layout = lutFileLayout(n, n);
        if (n == 17) {
            // Levels away from the header, with junk in between and in the
            // reserved fields: only the offset counts.
            layout.levelOffset = 100;
            layout.gapByte = 0xEE;
            layout.reserved24 = ~uint64_t(0);
            layout.reserved40 = 0x0123456789abcdefull;
        }
        OxLogCapture log;
        Lut3DTable* table = OxcLut3DLoadTableFromFile(dir.write("table.lut", layout).c_str());
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(log.size(), 0u);

        const LutFileData* file = table->file;
        ASSERT_NE(file, nullptr);
        ASSERT_EQ(file->levelCount(), n);
        EXPECT_EQ(memcmp(file->levelValues(), layout.levels.data(), n * sizeof(float)), 0);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(file->gridBytes()) % 64, 0u);
        EXPECT_EQ(memcmp(file->gridBytes(), layout.grid.data(), layout.grid.size()), 0);

        EXPECT_EQ(table->levelCount, n);
        EXPECT_EQ(table->rowStride, (n + 1) * 4);
        EXPECT_EQ(table->planeStride, (n + 1) * (n + 1) * 4);
        size_t mismatches = 0;
        for (uint32_t r = 0; r < n; ++r)
            for (uint32_t g = 0; g < n; ++g)
                for (uint32_t b = 0; b < n; ++b) {
                    const uint8_t* cell = table->grid + r * table->planeStride + g * table->rowStride + b * 4;
                    const uint8_t* entry = &layout.grid[((size_t(r) * n + g) * n + b) * 3];
                    mismatches += memcmp(cell, entry, 3) != 0;
                }
        EXPECT_EQ(mismatches, 0u);
        EXPECT_EQ(table->uniform, n >= 2 ? 1 : 0);
        EXPECT_EQ(table->levelIndex->entries[0].index, 0);
        EXPECT_EQ(table->levelIndex->entries[255].index, n - 1);
        EXPECT_EQ(table->levelIndex->entries[255].fraction, 0);
        // The padding cells are readable (AddressSanitizer checks the size).
        EXPECT_EQ(table->grid[size_t(table->planeStride) * (n + 1) - 1], 0);
        OxcLut3DDestroyTable(table);
    }

    // Unevenly spaced levels load as such.
    LutFileLayout uneven = lutFileLayout(5, 9);
    uneven.levels = {0.0f, 0.1f, 0.5f, 0.9f, 1.0f};
    Lut3DTable* table = OxcLut3DLoadTableFromFile(dir.write("uneven.lut", uneven).c_str());
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->uniform, 0);
    OxcLut3DDestroyTable(table);
}

TEST(LutFileData, HostileFilesReturnNullWithoutCrashOrLeak)
{
    LutTempDir dir;
    OxLogCapture log; // keeps the expected messages off the console
    const int descriptors = openDescriptorCount();
    auto load = [&](const std::vector<uint8_t>& bytes) {
        Lut3DTable* table = OxcLut3DLoadTableFromFile(dir.write("hostile.lut", bytes).c_str());
        const bool loaded = table != nullptr;
        if (table) {
            EXPECT_GE(table->levelCount, 1u);
            EXPECT_LE(table->levelCount, kLutMaxLevels);
        }
        OxcLut3DDestroyTable(table);
        return loaded;
    };

    // Cut at every length.
    const std::vector<uint8_t> small = lutFileBytes(lutFileLayout(2, 5));
    ASSERT_EQ(small.size(), 48u + 2 * 4 + 8 * 3);
    for (size_t length = 0; length < small.size(); ++length)
        EXPECT_FALSE(load(std::vector<uint8_t>(small.begin(), small.begin() + length))) << length;
    EXPECT_TRUE(load(small));

    // Level counts no table can have, over a body made for N = 2.
    for (uint32_t n : {0u, 66u, 1000u, 0x10000u, 0x80000000u, 0xffffffffu}) {
        LutFileLayout layout = lutFileLayout(2, 5);
        layout.levelCount = n;
        EXPECT_FALSE(load(lutFileBytes(layout))) << n;
    }
    // Level offsets at and past the end.
    for (uint64_t offset : {uint64_t(small.size()), uint64_t(small.size()) - 1, uint64_t(1) << 40,
                            uint64_t(INT64_MAX), uint64_t(INT64_MAX) + 1, ~uint64_t(0)}) {
        std::vector<uint8_t> bytes = small;
        for (int i = 0; i < 8; ++i)
            bytes[32 + i] = uint8_t(offset >> (8 * i));
        EXPECT_FALSE(load(bytes)) << offset;
    }

    // Deterministic random files: raw bytes, random headers and damaged
    // copies of a valid file.
    std::mt19937 rng(20240611);
    auto below = [&](uint32_t n) { return uint32_t(rng() % n); };
    const std::vector<uint8_t> valid = lutFileBytes(lutFileLayout(3, 7));
    int failures = 0;
    for (int i = 0; i < 300; ++i) {
        std::vector<uint8_t> bytes;
        if (i % 3 == 0) {
            bytes.resize(below(300));
            for (uint8_t& b : bytes)
                b = uint8_t(rng());
            if (bytes.size() >= 8 && below(2))
                memcpy(bytes.data(), ".ZR-LUT ", 8);
        } else if (i % 3 == 1) {
            LutFileLayout layout = lutFileLayout(1 + below(6), 1 + i);
            layout.levelCount = below(4) ? layout.levelCount : below(80);
            layout.elementType = below(8) ? 0 : rng();
            layout.dimensions = below(4) ? 1 : rng() & 1;
            layout.levelOffset = below(4) ? 48 : below(2) ? below(400) : (uint64_t(rng()) << 32 | rng());
            bytes = lutFileBytes(layout);
            bytes.resize(bytes.size() - below(uint32_t(bytes.size()) / 4 + 1));
        } else {
            bytes = valid;
            for (uint32_t k = 1 + below(4); k > 0; --k)
                bytes[below(uint32_t(bytes.size()))] = uint8_t(rng());
            if (below(2))
                bytes.resize(below(uint32_t(bytes.size()) + 1));
        }
        failures += !load(bytes);
    }
    EXPECT_GT(failures, 150); // most are broken; the rest loaded and were destroyed
    EXPECT_LT(failures, 300);
    EXPECT_EQ(openDescriptorCount(), descriptors);
}

} // namespace
