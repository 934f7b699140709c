// .cube parsing, conversion to the LUT file and back, and `oxlut convert` /
// `oxlut info` as commands.
#include "tools/commands.h"
#include "tools/cubefile.h"
#include "tools/lutfile.h"
#include "tooltestsupport.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

using namespace oxtool;
using tooltest::cubeText;
using tooltest::identityCube;

namespace {

// Parses and converts; returns the error ("" on success).
std::string convertText(const std::string& text, LutFile* lut)
{
    CubeLut cube;
    std::string error;
    if (!parseCube(text, &cube, &error) || !lutFromCube(cube, lut, &error))
        return error;
    return "";
}

uint32_t u32At(const std::string& bytes, size_t at)
{
    uint32_t v;
    std::memcpy(&v, bytes.data() + at, 4);  // the tests run on little-endian hosts
    return v;
}

struct CommandRun {
    int code;
    std::string out;
    std::string err;
};

CommandRun run(const std::vector<std::string>& args)
{
    std::ostringstream out, err;
    ToolContext context;
    context.out = &out;
    context.err = &err;
    context.clock = [] { return 0.0; };
    const int code = runTool(args, context);
    return {code, out.str(), err.str()};
}

} // namespace

TEST(CubeConvert, ReordersToBlueFastestAndRoundsToEightBits)
{
    // Every entry is distinct: R encodes the .cube position, so a wrong
    // reordering lands the wrong value at the checked file position.
    const int n = 3;
    const std::string text = cubeText(n, [](int r, int g, int b) {
        const double i = r + 3 * g + 9 * b;
        return std::vector<double>{i / 26.0, 1.0 - i / 26.0, r * 0.5};
    }, "# comment\nTITLE \"Order\"\n\n");
    LutFile lut;
    ASSERT_EQ(convertText(text, &lut), "");
    ASSERT_EQ(lut.levelCount(), 3u);
    ASSERT_EQ(lut.grid.size(), 27u * 3);
    for (int r = 0; r < n; ++r)
        for (int g = 0; g < n; ++g)
            for (int b = 0; b < n; ++b) {
                const uint8_t* e = &lut.grid[((r * n + g) * n + b) * 3];
                const double i = r + 3 * g + 9 * b;
                EXPECT_EQ(e[0], std::lround(i / 26.0 * 255)) << r << g << b;
                EXPECT_EQ(e[1], std::lround((1 - i / 26.0) * 255)) << r << g << b;
                EXPECT_EQ(e[2], r == 1 ? 128 : r * 255 / 2) << r << g << b;  // 127.5 rounds up
            }
    EXPECT_FLOAT_EQ(lut.levels[1], 0.5f);
    // Clamped, and rounded to nearest: 0.48 and 0.54 of a step.
    EXPECT_EQ(toByte(-0.3f) + toByte(1.7f), 255);
    EXPECT_EQ(toByte(0.0019f), 0);
    EXPECT_EQ(toByte(0.0021f), 1);
}

TEST(CubeConvert, AcceptsCommentsBlankLinesCrlfAndBom)
{
    std::string text = "\xEF\xBB\xBF# made by hand\r\nTITLE \"A # B\"\r\n\r\nLUT_3D_SIZE 2 # two\r\n";
    for (int i = 0; i < 8; ++i)
        text += "0 0.5 1   # entry\r\n";
    CubeLut cube;
    std::string error;
    ASSERT_TRUE(parseCube(text, &cube, &error)) << error;
    EXPECT_EQ(cube.title, "A # B");
    EXPECT_EQ(cube.size, 2);
    EXPECT_EQ(cube.rgb[1], 0.5f);
}

TEST(CubeConvert, ErrorsNameTheLine)
{
    const std::string eight = std::string(8 * 6, ' ');
    auto entries = [](int count) {
        std::string s;
        for (int i = 0; i < count; ++i)
            s += "0.1 0.2 0.3\n";
        return s;
    };
    struct Case {
        std::string text;
        std::string error;
    } cases[] = {
        {"TITLE \"x\"\nLUT_1D_SIZE 1024\n", "line 2: only 3D LUTs are supported"},
        {"LUT_3D_SIZE 66\n", "line 1: LUT_3D_SIZE 66 is too large (at most 65)"},
        {"LUT_3D_SIZE 1\n", "line 1: LUT_3D_SIZE 1 is too small"},
        {"LUT_3D_SIZE seventeen\n", "line 1: LUT_3D_SIZE needs one whole number"},
        {"LUT_3D_SIZE 2\nLUT_3D_SIZE 2\n", "line 2: LUT_3D_SIZE given twice"},
        {"0 0 0\nLUT_3D_SIZE 2\n", "line 1: table entry before LUT_3D_SIZE"},
        {"LUT_3D_SIZE 2\n" + entries(3) + "0.1 0.2\n", "line 5: expected three numbers, found '0.1 0.2'"},
        {"LUT_3D_SIZE 2\n0.1 0.2 zero\n", "line 2: expected three numbers"},
        {"LUT_3D_SIZE 2\n0.1 0.2 0.3 0.4\n", "line 2: expected three numbers"},
        {"LUT_3D_SIZE 2\n" + entries(8) + "\n0 0 0\n", "line 11: more than the 8 entries"},
        {"LUT_3D_SIZE 2\n" + entries(7), "line 8: file ends after 7 of the 8 entries"},
        {"LUT_3D_SIZE 2\n" + entries(1) + "DOMAIN_MIN 0 0 0\n", "line 3: DOMAIN_MIN after the table entries"},
        {"LUT_3D_SIZE 2\nLUT_3D_SHAPE 3\n", "line 2: unknown keyword 'LUT_3D_SHAPE'"},
        {"LUT_3D_SIZE 2\nDOMAIN_MAX 1 1\n", "line 2: DOMAIN_MAX needs three numbers"},
        {"# nothing\n", "no LUT_3D_SIZE line"},
        {identityCube(2, "DOMAIN_MIN 0 0 0.1\n"),
         "line 1: DOMAIN_MIN differs between channels; only one domain for all three channels is supported"},
        {identityCube(2, "\nDOMAIN_MAX 1 0.5 1\n"), "line 2: DOMAIN_MAX differs betw"},
        {identityCube(2, "DOMAIN_MAX 2 2 2\n"), "line 1: DOMAIN_MAX 2 lies outside 0..1"},
        {identityCube(2, "DOMAIN_MIN -0.5 -0.5 -0.5\n"), "line 1: DOMAIN_MIN -0.5 lies outside 0..1"},
        {identityCube(2, "DOMAIN_MIN 0.5 0.5 0.5\nDOMAIN_MAX 0.5 0.5 0.5\n"),
         "line 2: DOMAIN_MAX must be above DOMAIN_MIN"},
    };
    for (const Case& c : cases) {
        LutFile lut;
        const std::string error = convertText(c.text, &lut);
        EXPECT_EQ(error.compare(0, c.error.size(), c.error), 0)
            << "text:\n" << c.text << "got: " << error;
    }
}

TEST(CubeConvert, DomainGivesTheLevels)
{
    LutFile lut;
    ASSERT_EQ(convertText(identityCube(3, "DOMAIN_MIN 0.1 0.1 0.1\nDOMAIN_MAX 0.9 0.9 0.9\n"), &lut),
              "");
    ASSERT_EQ(lut.levelCount(), 3u);
    EXPECT_FLOAT_EQ(lut.levels[0], 0.1f);
    EXPECT_FLOAT_EQ(lut.levels[2], 0.9f);
    EXPECT_FALSE(levelsAreUniform(lut.levels));

    ASSERT_EQ(convertText(identityCube(17, "LUT_3D_INPUT_RANGE 0 1\n"), &lut), "");
    EXPECT_TRUE(levelsAreUniform(lut.levels));
    EXPECT_EQ(lut.levels[16], 1.0f);
}

TEST(LutFileBytes, EncodesTheHeaderAndDecodesItBack)
{
    LutFile lut;
    ASSERT_EQ(convertText(identityCube(5), &lut), "");
    const std::string bytes = encodeLut(lut);
    ASSERT_EQ(bytes.size(), 48u + 5 * 4 + 125 * 3);
    EXPECT_EQ(bytes.substr(0, 8), ".ZR-LUT ");
    // version, level count, element type, and the 64-bit offset of the levels
    for (const auto& field : {std::make_pair(8, 1u), {12, 5u}, {16, 0u}, {32, 48u}, {36, 0u}})
        EXPECT_EQ(u32At(bytes, size_t(field.first)), field.second) << "at " << field.first;
    EXPECT_NE(u32At(bytes, 20), 0u); // 3D
    float level;
    std::memcpy(&level, bytes.data() + 48 + 4, 4);
    EXPECT_EQ(level, 0.25f);
    // Entry (r, g, b) = (1, 2, 3) of the identity is (64, 128, 191).
    EXPECT_EQ(bytes.substr(48 + 20 + ((1 * 5 + 2) * 5 + 3) * 3, 3), "\x40\x80\xbf");

    LutFile back;
    std::string error;
    ASSERT_TRUE(decodeLut(bytes + "xy", &back, &error)) << error;
    EXPECT_TRUE(back.levels == lut.levels && back.grid == lut.grid);
    EXPECT_EQ(back.trailingBytes, 2u);

    auto decodeError = [](std::string b) {
        LutFile l;
        std::string e;
        return decodeLut(b, &l, &e) ? std::string() : e;
    };
    auto patched = [&bytes](size_t at, uint32_t v) {
        std::string b = bytes;
        std::memcpy(&b[at], &v, 4);
        return b;
    };
    EXPECT_EQ(decodeError("#!cube"), "not a .ZR-LUT file (no \".ZR-LUT \" signature)");
    EXPECT_EQ(decodeError(bytes.substr(0, 40)), "header truncated (40 of 48 bytes)");
    EXPECT_EQ(decodeError(patched(8, 2)), "unsupported version 2 (only 1)");
    EXPECT_EQ(decodeError(patched(16, 1)), "unsupported element type 1 (only 0, 8-bit)");
    EXPECT_EQ(decodeError(patched(12, 66)), "level count 66 outside 1..65");
    EXPECT_EQ(decodeError(patched(32, 4096)), "level values past the end of the file (offset 4096)");
    EXPECT_EQ(decodeError(bytes.substr(0, bytes.size() - 1)), "grid truncated (374 of 375 bytes)");
    LutFile flat;
    ASSERT_TRUE(decodeLut(patched(20, 0), &flat, &error));
    EXPECT_FALSE(flat.is3D);
    EXPECT_EQ(flat.grid.size(), 15u);
}

TEST(ConvertCommand, WritesTheFileOrNothing)
{
    tooltest::ScratchDir dir;
    ASSERT_TRUE(dir.isValid());
    const std::string cube = dir.file("grade.cube");
    const std::string out = dir.file("grade.lut");
    tooltest::writeFile(cube, identityCube(17));
    CommandRun r = run({"convert", cube, out});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "wrote " + out + ": 17 levels, 4913 entries, 14855 bytes\n");
    const std::string good = tooltest::readFile(out);

    // A failed conversion keeps the old output and leaves no temporary file.
    tooltest::writeFile(cube, identityCube(17).substr(0, 2000));
    r = run({"convert", cube, out});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.err.find("oxlut: " + cube + ": line "), 0u) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1);
    EXPECT_EQ(tooltest::readFile(out), good);
    EXPECT_EQ(dir.entries().size(), 2u);

    // Nothing appears when the output cannot be written.
    tooltest::writeFile(cube, identityCube(2));
    r = run({"convert", cube, dir.file("missing/grade.lut")});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("missing/grade.lut: cannot create a temporary file"), std::string::npos);
    EXPECT_EQ(dir.entries().size(), 2u);

    EXPECT_EQ(run({"convert", cube}).code, 2);
    EXPECT_EQ(run({"convert", cube, "-"}).code, 2);
}

TEST(InfoCommand, DescribesTheFile)
{
    tooltest::ScratchDir dir;
    const std::string cube = dir.file("look.cube");
    tooltest::writeFile(cube, identityCube(3));
    ASSERT_EQ(run({"convert", cube, dir.file("id.lut")}).code, 0);
    CommandRun r = run({"info", dir.file("id.lut")});
    ASSERT_EQ(r.code, 0) << r.err;
    for (const char* line : {"3D, N = 3, 27 entries", "uniform (evenly spaced from 0 to 1)", "0 0.5 1\n", "(identity)"})
        EXPECT_NE(r.out.find(line), std::string::npos) << line << " in\n" << r.out;

    // A grade that darkens everything by a quarter: shown by mean, max and
    // the distance from identity; info reads .cube files as converted.
    tooltest::writeFile(cube, cubeText(2, [](int r, int g, int b) {
        return std::vector<double>{r * 0.75, g * 0.75, b * 0.75};
    }, "DOMAIN_MIN 0.2 0.2 0.2\n"));
    r = run({"info", cube});
    ASSERT_EQ(r.code, 0) << r.err;
    for (const char* line : {".cube text shown as converted", "not uniform (0.2 to 1)",
                             "output max:     R 0.7490  G 0.7490  B 0.7490", "largest 0.2510"})
        EXPECT_NE(r.out.find(line), std::string::npos) << line << " in\n" << r.out;
    EXPECT_EQ(r.out.find("(identity)"), std::string::npos);

    tooltest::writeFile(dir.file("junk.lut"), "not a lut");
    r = run({"info", dir.file("junk.lut")});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("not a .ZR-LUT file"), std::string::npos);
}

TEST(SampleGrade, ConvertsAndIsNotTheIdentity)
{
    const char* source = std::getenv("OX_TEST_SOURCE_DIR");
    if (!source)
        GTEST_SKIP() << "OX_TEST_SOURCE_DIR not set";
    CubeLut cube;
    LutFile lut;
    std::string error;
    ASSERT_TRUE(readCubeFile(std::string(source) + "/tools/samples/warm-teal.cube", &cube, &error))
        << error;
    ASSERT_TRUE(lutFromCube(cube, &lut, &error)) << error;
    EXPECT_EQ(cube.title, "Warm teal");
    // Shadows lean teal (blue above red), highlights warm (red above blue).
    const uint32_t last = lut.levelCount() - 1;
    const uint8_t* black = lut.entry(1, 1, 1);
    const uint8_t* white = lut.entry(last - 1, last - 1, last - 1);
    EXPECT_GT(black[2], black[0]);
    EXPECT_GT(white[0], white[2]);
}
