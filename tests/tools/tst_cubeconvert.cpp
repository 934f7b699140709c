// .cube parsing, conversion to the LUT file and back, and `oxlut convert` /
// `oxlut info` as commands.
#include "tools/commands.h"
#include "tools/cubebake.h"
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

// Parses and converts; returns the error ("" on success) and the warnings.
std::string convertText(const std::string& text, LutFile* lut, uint32_t grid = 0,
                        std::vector<std::string>* warnings = nullptr)
{
    CubeLut cube;
    std::string error;
    if (!parseCube(text, &cube, &error) || !lutFromCube(cube, grid, lut, &error, warnings))
        return error;
    if (warnings)
        warnings->insert(warnings->begin(), cube.warnings.begin(), cube.warnings.end());
    return "";
}

// Lines of a 1D table of n entries over [lo, hi] whose entry for input x is
// curve(x).
std::string curveLines(int n, double lo, double hi, double (*curve)(int channel, double x))
{
    std::ostringstream out;
    out.precision(9);
    for (int i = 0; i < n; ++i) {
        const double x = lo + (hi - lo) * i / (n - 1);
        out << curve(0, x) << ' ' << curve(1, x) << ' ' << curve(2, x) << '\n';
    }
    return out.str();
}

// Checks every entry of a baked table against the file's transform worked
// out by hand, to within one 8-bit step.
void expectBakedWithinOneStep(const LutFile& lut, void (*transform)(const double in[3], double out[3]))
{
    const uint32_t n = lut.levelCount();
    int worst = 0;
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                const double in[3] = {lut.levels[r], lut.levels[g], lut.levels[b]};
                double out[3];
                transform(in, out);
                for (int c = 0; c < 3; ++c)
                    worst = std::max(worst, std::abs(lut.entry(r, g, b)[c] - toByte(float(out[c]))));
            }
    EXPECT_LE(worst, 1);
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
    EXPECT_EQ(cube.cube.size, 2);
    EXPECT_EQ(cube.cube.rgb[1], 0.5f);

    // Lines ended by CR alone are lines too; each kind of line end counts once.
    std::string cr = text.substr(3);
    cr.erase(std::remove(cr.begin(), cr.end(), '\n'), cr.end());
    ASSERT_TRUE(parseCube(cr, &cube, &error)) << error;
    EXPECT_EQ(cube.cube.rgb[23], 1.0f);
    for (const std::string& file : {text, cr}) {
        EXPECT_FALSE(parseCube(file + "x\r", &cube, &error));
        EXPECT_EQ(error, "line 13: x after the table entries");
    }
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
        {"TITLE \"x\"\nLUT_1D_SIZE 65537\n",
         "line 2: LUT_1D_SIZE 65537 is too large: a 1D table has 2 to 65536 entries"},
        {"LUT_3D_SIZE 66\n", "line 1: LUT_3D_SIZE 66 is too large: a 3D table has 2 to 65 points per side"},
        {"LUT_3D_SIZE 1\n", "line 1: LUT_3D_SIZE 1 is too small"},
        {"LUT_3D_SIZE seventeen\n", "line 1: LUT_3D_SIZE needs one whole number"},
        {"LUT_1D_SIZE 2\nLUT_1D_SIZE 2\n", "line 2: LUT_1D_SIZE given twice"},
        {"0 0 0\nLUT_3D_SIZE 2\n", "line 1: table entry before LUT_3D_SIZE or LUT_1D_SIZE"},
        {"LUT_3D_SIZE 2\n" + entries(3) + "0.1 0.2\n", "line 5: expected three numbers, found '0.1 0.2'"},
        {"LUT_3D_SIZE 2\n0.1 0.2 zero\n", "line 2: expected three numbers"},
        {"LUT_3D_SIZE 2\n0.1 0.2 0.3 0.4\n", "line 2: expected three numbers"},
        {"LUT_3D_SIZE 2\n0.1 1e39 0.3\n", "line 2: expected three numbers"}, // beyond a float
        {"LUT_3D_SIZE 2\n" + entries(8) + "\n0 0 0\n",
         "line 11: more than the 8 entries of a 3D table of 2 points per side"},
        {"LUT_1D_SIZE 3\nLUT_3D_SIZE 2\n" + entries(7),
         "line 9: file ends after 7 of the 11 entries of a 1D shaper of 3 entries and a 3D table of 2 points per side"},
        {"LUT_1D_SIZE 3\n" + entries(2), "line 3: file ends after 2 of the 3 entries of a 1D table of 3 entries"},
        {"LUT_3D_SIZE 2\n" + entries(1) + "DOMAIN_MIN 0 0 0\n", "line 3: DOMAIN_MIN after the table entries"},
        {"LUT_1D_SIZE 2\n" + entries(1) + "LUT_3D_SIZE 2\n", "line 3: LUT_3D_SIZE after the table entries"},
        {"LUT_3D_SIZE 2\nLUT_3D_SHAPE 3\n", "line 2: unknown keyword 'LUT_3D_SHAPE'"},
        {"LUT_3D_SIZE 2\nDOMAIN_MAX 1 1\n", "line 2: DOMAIN_MAX needs three numbers"},
        {"LUT_3D_INPUT_RANGE 0\n", "line 1: LUT_3D_INPUT_RANGE needs two numbers"},
        {"# nothing\n", "not a .cube table: no LUT_3D_SIZE or LUT_1D_SIZE line"},
        {identityCube(2, "DOMAIN_MIN 0 0.5 0\nDOMAIN_MAX 1 0.5 1\n"),
         "line 2: the domain of a 3D table of 2 points per side is empty for green: its maximum "
         "0.5 is not above its minimum 0.5"},
        {"LUT_1D_SIZE 2\nLUT_1D_INPUT_RANGE 1 0\n" + entries(2), "line 2: the domain of a 1D table of 2"},
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

    // In a file with a 1D shaper, DOMAIN_MIN/DOMAIN_MAX are the shaper's.
    ASSERT_EQ(convertText(identityCube(2, "LUT_1D_SIZE 2\nDOMAIN_MIN 0.5 0.5 0.5\n0 0 0\n1 1 1\n"), &lut, 3), "");
    EXPECT_EQ(lut.levels[0], 0.5f);
    EXPECT_EQ(lut.entry(1, 1, 1)[0], 128);  // 0.75 through the shaper is 0.5

    // Domains per channel or beyond 0..1 are evaluated on levels 0..1.
    ASSERT_EQ(convertText(identityCube(3, "DOMAIN_MAX 1 1 1.5\n"), &lut), "");
    EXPECT_TRUE(levelsAreUniform(lut.levels));
}

// A 1D table of the largest size: each channel through its own curve, on 33
// levels unless --grid says otherwise.
TEST(CubeBake, OneDimensionalTable)
{
    const std::string text = "LUT_1D_SIZE 65536\n" + curveLines(65536, 0, 1, [](int c, double x) {
        return c == 0 ? x * x : (c == 1 ? 1 - x : 0.5 + 0.5 * x);
    });
    LutFile lut;
    ASSERT_EQ(convertText(text, &lut), "");
    EXPECT_EQ(lut.levelCount(), 33u);
    expectBakedWithinOneStep(lut, [](const double in[3], double out[3]) {
        out[0] = in[0] * in[0], out[1] = 1 - in[1], out[2] = 0.5 + 0.5 * in[2];
    });
    ASSERT_EQ(convertText(text, &lut, 5), "");
    EXPECT_EQ(lut.levelCount(), 5u);
    EXPECT_EQ(lut.entry(2, 0, 4)[0], 64);  // 0.5 squared
    EXPECT_EQ(convertText(text, &lut, 66), "a grid of 66 points per side is outside 2..65");
}

// A 1D shaper before a 3D table, and a 3D table with a domain of its own for
// each channel, partly outside 0..1: both match the file's transform at
// every grid point. The 3D entries are affine in the table coordinates, which
// trilinear interpolation reproduces exactly, so the expected values are
// known in closed form.
TEST(CubeBake, ShaperAndPerChannelDomainsAgreeWithTheFloatTransform)
{
    const std::string shaper =
        "LUT_1D_SIZE 1024\nLUT_1D_INPUT_RANGE -0.25 1.25\n" +
        curveLines(1024, -0.25, 1.25, [](int c, double x) {
            return c == 0 ? x * x : (c == 1 ? 1 - x : 0.25 + 0.5 * x * x);
        });
    const std::string text = cubeText(9, [](int r, int g, int b) {
        const double u[3] = {r / 8.0, g / 8.0, b / 8.0};
        return std::vector<double>{0.2 + 0.6 * u[0], 0.1 + 0.9 * u[1] - 0.1 * u[2], 0.5 * u[2] + 0.3 * u[0]};
    }, shaper);
    LutFile lut;
    ASSERT_EQ(convertText(text, &lut), "");
    EXPECT_EQ(lut.levelCount(), 9u);
    expectBakedWithinOneStep(lut, [](const double in[3], double out[3]) {
        const double u[3] = {in[0] * in[0], 1 - in[1], 0.25 + 0.5 * in[2] * in[2]};
        out[0] = 0.2 + 0.6 * u[0], out[1] = 0.1 + 0.9 * u[1] - 0.1 * u[2], out[2] = 0.5 * u[2] + 0.3 * u[0];
    });

    // Table point i of channel c stands for min_c + (max_c - min_c) * i / 6.
    static const double lo[3] = {-0.2, 0, 0.25}, hi[3] = {1.2, 2, 0.75};
    const std::string domains = cubeText(7, [](int r, int g, int b) {
        const int i[3] = {r, g, b};
        double d[3];
        for (int c = 0; c < 3; ++c)
            d[c] = lo[c] + (hi[c] - lo[c]) * i[c] / 6;
        return std::vector<double>{d[0], 0.5 * d[1], 1 - d[2]};
    }, "DOMAIN_MIN -0.2 0 0.25\nDOMAIN_MAX 1.2 2 0.75\n");
    ASSERT_EQ(convertText(domains, &lut, 17), "");
    EXPECT_TRUE(levelsAreUniform(lut.levels));
    expectBakedWithinOneStep(lut, [](const double in[3], double out[3]) {
        out[0] = in[0], out[1] = 0.5 * in[1], out[2] = 1 - std::min(std::max(in[2], 0.25), 0.75);
    });
}

TEST(CubeBake, WarnsAboutOneColourAndIgnoredRanges)
{
    LutFile lut;
    std::vector<std::string> warnings;
    ASSERT_EQ(convertText(cubeText(3, [](int, int, int) { return std::vector<double>{1, 0.5, 0}; },
                                   "LUT_1D_INPUT_RANGE 0 2\nLUT_3D_INPUT_RANGE 0 2\n"),
                          &lut, 0, &warnings),
              "");
    EXPECT_EQ(warnings, (std::vector<std::string>{
                            "line 1: LUT_1D_INPUT_RANGE ignored: the file has no 1D table",
                            "every entry is the same colour, #FF8000: every pixel comes out that colour"}));
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
    EXPECT_EQ(r.out, "wrote " + out + ": 17 levels, 4913 entries, 14855 bytes, from a 3D table of 17 points per side\n");
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

    // --grid, and warnings on the error stream with the file's name.
    tooltest::writeFile(cube, "LUT_1D_SIZE 2\n0.5 0.5 0.5\n0.5 0.5 0.5\n");
    r = run({"convert", "--grid", "9", cube, out});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "wrote " + out + ": 9 levels, 729 entries, 2271 bytes, from a 1D table of 2 entries\n");
    EXPECT_EQ(r.err, "oxlut: " + cube + ": warning: every entry is the same colour, #808080: every pixel "
                     "comes out that colour\n");

    EXPECT_EQ(run({"convert", cube}).code, 2);
    EXPECT_EQ(run({"convert", cube, "-"}).code, 2);
    EXPECT_EQ(run({"convert", "--grid", "66", cube, out}).err,
              "oxlut: convert: --grid must be a whole number from 2 to 65, not '66' (see 'oxlut help')\n");
    EXPECT_EQ(run({"info", "--grid", "9", out}).err, "oxlut: " + out + ": --grid applies to .cube files only\n");
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
    ASSERT_TRUE(lutFromCube(cube, 0, &lut, &error)) << error;
    EXPECT_EQ(cube.title, "Warm teal");
    // Shadows lean teal (blue above red), highlights warm (red above blue).
    const uint32_t last = lut.levelCount() - 1;
    const uint8_t* black = lut.entry(1, 1, 1);
    const uint8_t* white = lut.entry(last - 1, last - 1, last - 1);
    EXPECT_GT(black[2], black[0]);
    EXPECT_GT(white[0], white[2]);
}
