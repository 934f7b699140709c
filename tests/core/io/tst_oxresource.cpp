#include "core/io/oxdir.h"
#include "core/io/oxfile.h"
#include "core/io/oxresourcefileengine.h"

#include "iotestsupport.h"
#include "oxlogcapture.h"
#include "resourcetestsupport.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

struct SFile {
    std::string path;
    std::string content;
    bool compressed;
};

// Nested directories; names that collide in hash ("aq", "ba") or whose hash
// order differs from their text order ("b" before "aa"); names beyond ASCII.
const std::vector<SFile>& sampleFiles()
{
    static const std::vector<SFile> files = {
        {"readme.txt", "plain text", false},
        {"grades/warm.lut", std::string(100000, 'w') + "end", true},
        {"grades/\xc3\xa9t\xc3\xa9.cube", "summer", true},
        {"grades/aq", "collides with ba", false},
        {"grades/ba", "collides with aq", true},
        {"grades/b", "hash before aa", false},
        {"grades/aa", "hash after b", false},
        {"grades/deep/er/\xf0\x9f\x8e\xa8", "a name of a surrogate pair", false},
        {"empty", "", false},
        {"empty-compressed", "", true},
    };
    return files;
}

std::string sampleImage(uint32_t version = 2)
{
    SOxResourceNode root = resourceRoot();
    for (const SFile& f : sampleFiles())
        addResource(&root, f.path, f.content, f.compressed);
    // A compressed block of no bytes at all is served as empty.
    SOxResourceNode nothing;
    nothing.name = u"nothing";
    nothing.compressed = true;
    root.children.push_back(nothing);
    return OxWriteResourceImage(root, version);
}

std::string readResource(const std::string& path, int64_t* size = nullptr)
{
    COxFile file(COxString::fromUtf8(path.c_str()));
    if (!file.open(COxIODevice::ReadOnly))
        return "<cannot open: " + str(file.errorString()) + ">";
    if (size)
        *size = file.size();
    return str(file.readAll());
}

bool registerImage(const std::string& image, const std::string& root)
{
    return COxDir::registerResource(keptImage(image), image.size(), COxString(root.c_str()));
}

TEST(OxResource, EveryFileReadsBackThroughFiles)
{
    OxTempDir dir;
    writeBytes(dir.file("sample.pack"), sampleImage());
    ASSERT_TRUE(COxDir::registerResource(dir.name("sample.pack"), COxString("/oxres/file/")));
    ASSERT_TRUE(registerImage(sampleImage(1), "/oxres/memory"));
    for (const std::string root : {"/oxres/file/", "/oxres/memory/"}) {
        for (const SFile& f : sampleFiles()) {
            int64_t size = -1;
            EXPECT_EQ(readResource(root + f.path, &size), f.content) << root << f.path;
            EXPECT_EQ(size, int64_t(f.content.size()));
        }
        EXPECT_EQ(readResource(root + "nothing"), "");
        EXPECT_EQ(readResource(root + ".//grades/../grades/./aq"), "collides with ba");

        COxFile file(COxString((root + "grades/warm.lut").c_str()));
        ASSERT_TRUE(file.open(COxIODevice::ReadOnly));
        EXPECT_TRUE(file.seek(99998));
        EXPECT_EQ(str(file.read(100)), "wwend");
        file.close();
        EXPECT_FALSE(file.open(COxIODevice::ReadWrite));
        EXPECT_EQ(file.error(), COxFileDevice::OpenError);

        // Directories exist but do not open; missing names below a root
        // neither exist nor open, even when the disk has them.
        EXPECT_TRUE(COxFile::exists(COxString((root + "grades/deep").c_str())));
        EXPECT_EQ(readResource(root + "grades"), "<cannot open: file to open is a directory>");
        EXPECT_FALSE(COxFile::exists(COxString((root + "grades/missing").c_str())));
        EXPECT_FALSE(COxFile::exists(COxString((root + "readme.txt/x").c_str())));
    }
    EXPECT_FALSE(COxResourceFileEngine::handles(COxString("/oxres/memoryless/x")));

    // Mounts on one root are searched in registration order.
    SOxResourceNode second = resourceRoot();
    addResource(&second, "readme.txt", "second readme");
    addResource(&second, "only/in/second", "found");
    ASSERT_TRUE(registerImage(OxWriteResourceImage(second), "/oxres/memory"));
    EXPECT_EQ(readResource("/oxres/memory/readme.txt"), "plain text");
    EXPECT_EQ(readResource("/oxres/memory/only/in/second"), "found");
}

TEST(OxResource, DamagedImagesAreRefused)
{
    SOxResourceNode root = resourceRoot();
    addResource(&root, "d/f", "data");
    addResource(&root, "d/g", "more");
    const std::string good = OxWriteResourceImage(root);
    // Header 20 bytes; entries of 22: root, d, then f and g in hash order.
    auto patched = [&good](size_t at, uint32_t value) {
        std::string image = good;
        for (int i = 0; i < 4; ++i)
            image[at + size_t(i)] = char(value >> (24 - 8 * i));
        return image;
    };
    std::vector<std::string> bad = {
        patched(4, 3),                   // version
        patched(8, uint32_t(good.size())), // tree offset past the end
        patched(12, 0xffffffffu),        // data offset
        patched(16, uint32_t(good.size()) + 7),
        patched(0, 0x71726573u ^ 1),     // magic
        patched(20 + 10, 4),             // root's children reach past the tree
        patched(20 + 6, 0x10000),        // a huge child count
        patched(20 + 22 + 10, 0),        // d's children before d: a loop
        patched(20 + 22 + 10, 1),        // d is its own child
        patched(20 + 2 * 22 + 10, 1000), // f's data past the end
        patched(20 + 2 * 22, 1000),      // f's name past the end
        patched(20 + 4, 0x00000000),     // the root is no directory
    };
    std::string swapped = good; // g and f exchanged: out of hash order
    std::swap_ranges(&swapped[20 + 2 * 22], &swapped[20 + 3 * 22], &swapped[20 + 3 * 22]);
    bad.push_back(swapped);
    for (size_t cut = 0; cut < good.size(); ++cut)
        bad.push_back(good.substr(0, cut));

    OxTempDir dir;
    for (size_t i = 0; i < bad.size(); ++i) {
        OxLogCapture capture;
        EXPECT_FALSE(registerImage(bad[i], "/oxres/bad")) << i;
        EXPECT_EQ(capture.count("refused"), 1u) << i;
        writeBytes(dir.file("bad"), bad[i]);
        EXPECT_FALSE(COxDir::registerResource(dir.name("bad"), COxString("/oxres/bad"))) << i;
    }
    EXPECT_FALSE(COxResourceFileEngine::handles(COxString("/oxres/bad/d/f")));
    ASSERT_TRUE(registerImage(good, "/oxres/good"));
    EXPECT_EQ(readResource("/oxres/good/d/g"), "more");

    // Random damage: registered or not, nothing is read outside the image.
    std::mt19937 random(11);
    const std::string samples[] = {sampleImage(1), sampleImage(2)};
    for (int round = 0; round < 400; ++round) {
        std::string image = samples[round % 2];
        for (int flips = 1 + round % 4; flips > 0; --flips)
            image[random() % image.size()] = char(random());
        OxLogCapture quiet;
        const std::string mount = "/oxres/fuzz/" + std::to_string(round);
        if (registerImage(image, mount)) {
            for (const SFile& f : sampleFiles())
                readResource(mount + "/" + f.path);
        }
    }
}

// A root that claims data as well is reported by its name, which nothing
// else reads: a name outside the image is not read.
TEST(OxResource, RootClaimingDataWithANameOutsideTheImage)
{
    SOxResourceNode root = resourceRoot();
    addResource(&root, "f", "data");
    std::string image = OxWriteResourceImage(root);
    image[20 + 5] = char(0x03); // the root: a directory that claims data
    // Its name: a header at the very end of the image whose 65535 units are
    // not there.
    const uint32_t names = SOxResourceFormat::read32(reinterpret_cast<const uint8_t*>(image.data()) + 16);
    const uint32_t at = uint32_t(image.size()) - names;
    image.replace(20, 4, std::string{char(at >> 24), char(at >> 16), char(at >> 8), char(at)});
    image += std::string("\xff\xff\0\0\0\0", 6);
    OxLogCapture capture;
    ASSERT_TRUE(registerImage(image, "/oxres/rootname"));
    EXPECT_EQ(capture.count("COxResourceInfo: Resource [] has both data and children!"), 1u);
    EXPECT_EQ(readResource("/oxres/rootname/f"), "data");
}

// Last: it mounts a resource at "/", which then serves every absolute path.
TEST(OxResource, RegistrationMessages)
{
    OxLogCapture capture;
    EXPECT_FALSE(COxDir::registerResource(COxString("/x.pack"), COxString("relative")));
    EXPECT_FALSE(COxDir::registerResource(reinterpret_cast<const uchar*>("qres"), COxString("rel")));
    EXPECT_FALSE(COxDir::registerResource(COxString("/no/such.pack"), COxString("/oxres/none")));
    SOxResourceNode root = resourceRoot();
    addResource(&root, "both/file", "x");
    std::string image = OxWriteResourceImage(root);
    image[20 + 22 + 5] = char(0x03); // "both": a directory that claims data too
    EXPECT_TRUE(registerImage(image, ""));
    EXPECT_EQ(readResource("/both/file"), "x");
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_NE(lines[0].text.find("COxDir::registerResource: Registering a resource [/x.pack] must be rooted in an "
                                 "absolute path (start with /) [relative]"),
              std::string::npos);
    EXPECT_NE(lines[1].text.find("COxDir::registerResource: Registering a resource [0x"), std::string::npos);
    EXPECT_NE(lines[1].text.find("] must be rooted in an absolute path (start with /) [rel]"), std::string::npos);
    EXPECT_NE(lines[2].text.find("[/no/such.pack]: No such file or directory"), std::string::npos);
    EXPECT_NE(lines[3].text.find("COxResourceInfo: Resource [both] has both data and children!"), std::string::npos);
}

} // namespace
