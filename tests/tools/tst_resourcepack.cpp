// oxlut pack and --resources: packs of directory trees that the library
// mounts and reads like files, and that the tool's commands read through.
#include "core/io/oxdir.h"
#include "core/io/oxfile.h"
#include "lut/oxlut3d.h"
#include "tools/commands.h"
#include "tools/resourcepack.h"
#include "tooltestsupport.h"

#include <gtest/gtest.h>
#include <random>

using namespace oxtool;

namespace {

// Commands run with string streams; the stand-in renderer keeps the bytes of
// the LUT file it was handed.
struct Tool {
    std::ostringstream out, err;
    ToolContext context;
    std::string lutBytes;

    class Identity : public FrameRenderer {
    public:
        bool render(const uint8_t*, uint8_t*) override { return true; }
    };

    Tool()
    {
        context.out = &out;
        context.err = &err;
        context.clock = [] { return 0.0; };
        context.openRenderer = [this](const RenderSettings& s, std::string*) {
            lutBytes = tooltest::readFile(s.lutPath);
            return std::unique_ptr<FrameRenderer>(new Identity);
        };
    }
    int run(const std::vector<std::string>& args)
    {
        out.str("");
        err.str("");
        return runTool(args, context);
    }
};

std::string samplePath()
{
    const char* source = std::getenv("OX_TEST_SOURCE_DIR");
    return std::string(source ? source : ".") + "/tools/samples/warm-teal.cube";
}

std::vector<uint8_t> render(const char* lutPath)
{
    Lut3DTable* table = OxcLut3DLoadTableFromFile(lutPath);
    Lut3DEffect* effect = OxcLut3DCreateEffect(1);
    const int w = 64, h = 32;
    std::vector<uint8_t> src(size_t(w * h * 3 / 2)), dst(src.size());
    for (size_t i = 0; i < src.size(); ++i)
        src[i] = uint8_t(i * 7);
    const LutImage in{{src.data(), src.data() + w * h, nullptr}, {w, w}};
    const LutImage out{{dst.data(), dst.data() + w * h, nullptr}, {w, w}};
    const bool ok = table && effect &&
        OxcLut3DRenderEffect(effect, table, &in, &out, OXC_LUT_NV12, OXC_LUT_BT709, OXC_LUT_RANGE_LIMITED, w, h, 0);
    OxcLut3DDestroyEffect(effect);
    OxcLut3DDestroyTable(table);
    return ok ? dst : std::vector<uint8_t>();
}

TEST(PackCommand, PacksTheSampleGradeForTheLibrary)
{
    tooltest::ScratchDir dir;
    Tool tool;
    ASSERT_TRUE(COxDir::mkpath(COxString::fromUtf8(dir.file("grades/film").c_str())));
    ASSERT_EQ(tool.run({"convert", samplePath(), dir.file("grades/warm-teal.lut")}), ExitOk);
    std::mt19937 random(3);
    std::string noise(3000, '\0');
    for (char& c : noise)
        c = char(random());
    const std::pair<const char*, std::string> files[] = {
        {"film/warm-teal.cube", tooltest::readFile(samplePath())},
        {"film/\xc3\xa9t\xc3\xa9 noise", noise},
        {".hidden", ""},
    };
    for (const auto& f : files)
        tooltest::writeFile(dir.file(std::string("grades/") + f.first), f.second);
    // The pack being replaced lies inside the tree and is left out.
    tooltest::writeFile(dir.file("grades/grades.pack"), "old pack");

    ASSERT_EQ(tool.run({"pack", dir.file("grades"), dir.file("grades/grades.pack")}), ExitOk) << tool.err.str();
    EXPECT_NE(tool.out.str().find(": 4 files (2 compressed) in 1 directories, "), std::string::npos) << tool.out.str();
    const std::string pack = dir.file("grades/grades.pack");

    ASSERT_TRUE(COxDir::registerResource(COxString::fromUtf8(pack.c_str()), COxString("/packs/sample")));
    for (const auto& f : files) {
        COxFile file(COxString::fromUtf8((std::string("/packs/sample/") + f.first).c_str()));
        ASSERT_TRUE(file.open(COxIODevice::ReadOnly)) << f.first;
        const COxByteArray bytes = file.readAll();
        EXPECT_EQ(std::string(bytes.constData(), size_t(bytes.size())), f.second) << f.first;
    }
    const std::vector<uint8_t> plain = render(dir.file("grades/warm-teal.lut").c_str());
    ASSERT_FALSE(plain.empty());
    EXPECT_EQ(render("/packs/sample/warm-teal.lut"), plain);

    // The tool's own commands read the same pack through --resources.
    const std::string mount = "--resources=" + pack + ":/r";
    ASSERT_EQ(tool.run({"info", mount, "/r/warm-teal.lut"}), ExitOk) << tool.err.str();
    EXPECT_NE(tool.out.str().find("N = 17"), std::string::npos);
    ASSERT_EQ(tool.run({"bench", "--lut", "/r/./warm-teal.lut", mount, "--size", "4x2", "--frames", "1"}), ExitOk);
    EXPECT_EQ(tool.lutBytes, tooltest::readFile(dir.file("grades/warm-teal.lut")));
    tool.lutBytes.clear();
    ASSERT_EQ(tool.run({"apply", "--resources", pack + ":/a/", mount, "--lut", "/r/film/warm-teal.cube", "--size",
                        "4x2", dir.file("grades/.hidden"), dir.file("out")}),
              ExitOk) << tool.err.str();
    EXPECT_EQ(tool.lutBytes, tooltest::readFile(dir.file("grades/warm-teal.lut")));
}

TEST(PackCommand, RefusesWhatItCannotPackOrMount)
{
    tooltest::ScratchDir dir;
    Tool tool;
    ::mkdir(dir.file("tree").c_str(), 0755);
    tooltest::writeFile(dir.file("tree/a"), "a");
    ASSERT_EQ(tool.run({"pack", dir.file("tree"), dir.file("tree.pack")}), ExitOk);
    std::string damaged = tooltest::readFile(dir.file("tree.pack"));
    damaged[9] = 0x7f; // the tree offset points past the end
    tooltest::writeFile(dir.file("damaged.pack"), damaged);
    const std::string lut = dir.file("tree/a");

    const struct {
        std::vector<std::string> args;
        int code;
        const char* message;
    } cases[] = {
        {{"pack", dir.file("missing"), dir.file("x.pack")}, ExitFailure, "missing: not a directory"},
        {{"pack", dir.file("tree"), "-"}, ExitUsage, "pack writes a file, not standard output"},
        {{"info", "--resources", dir.file("tree.pack")}, ExitUsage, "needs FILE:ROOT with an absolute ROOT"},
        {{"info", "--resources", dir.file("damaged.pack") + ":/r", "/r/a"}, ExitFailure,
         "not a usable resource pack (an area offset lies past the end)"},
        {{"info", "--resources", dir.file("tree.pack") + ":/r", "/r/b"}, ExitFailure,
         "/r/b: not in the mounted resource packs"},
        {{"info", "--resources", dir.file("tree.pack") + ":/r", "/r"}, ExitFailure, "/r: is a directory"},
        {{"info", "--resources", dir.file("tree.pack") + ":/r", "/r/a", "--", "--resources=x:/y"}, ExitUsage,
         "unexpected argument"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(tool.run(c.args), c.code) << c.message;
        EXPECT_NE(tool.err.str().find(c.message), std::string::npos) << tool.err.str();
    }

    // Links to directories and names that are not UTF-8 are refused.
    ASSERT_EQ(::symlink(dir.file("tree").c_str(), dir.file("tree/loop").c_str()), 0);
    EXPECT_EQ(tool.run({"pack", dir.file("tree"), dir.file("x.pack")}), ExitFailure);
    EXPECT_NE(tool.err.str().find("loop: links to directories are not followed"), std::string::npos);
    ::unlink(dir.file("tree/loop").c_str());
    tooltest::writeFile(dir.file("tree/bad\xff"), "");
    EXPECT_EQ(tool.run({"pack", dir.file("tree"), dir.file("x.pack")}), ExitFailure);
    EXPECT_NE(tool.err.str().find("the name is not UTF-8"), std::string::npos);
    EXPECT_FALSE(tooltest::fileExists(dir.file("x.pack")));
}

// A pack replaces its output whole: through a link, which stays, and with
// the permissions the output had. A directory in the way is refused.
TEST(PackCommand, ReplacesTheOutputThroughLinks)
{
    tooltest::ScratchDir dir;
    Tool tool;
    ::mkdir(dir.file("tree").c_str(), 0755);
    ::mkdir(dir.file("out").c_str(), 0755);
    tooltest::writeFile(dir.file("tree/a"), "a");
    tooltest::writeFile(dir.file("out/real.pack"), "old");
    ::chmod(dir.file("out/real.pack").c_str(), 0604);
    ASSERT_EQ(::symlink("out/real.pack", dir.file("link.pack").c_str()), 0);
    ASSERT_EQ(tool.run({"pack", dir.file("tree"), dir.file("link.pack")}), ExitOk) << tool.err.str();
    struct stat st;
    ASSERT_EQ(::lstat(dir.file("link.pack").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    ASSERT_EQ(::stat(dir.file("out/real.pack").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0604u);
    EXPECT_EQ(tooltest::readFile(dir.file("out/real.pack")).compare(0, 4, "qres"), 0);
    EXPECT_EQ(dir.entries("out").size(), 1u);

    EXPECT_EQ(tool.run({"pack", dir.file("tree"), dir.file("out")}), ExitFailure);
    EXPECT_EQ(tool.err.str(), "oxlut: " + dir.file("out") + ": Filename refers to a directory\n");
}

} // namespace
