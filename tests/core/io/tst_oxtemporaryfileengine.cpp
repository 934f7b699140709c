#include "core/io/oxtemporaryfileengine.h"

#include "iotestsupport.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <string>

namespace {

// Whether name has the shape, in which each '?' stands for a letter.
bool hasShape(const std::string& name, const std::string& shape)
{
    if (name.size() != shape.size())
        return false;
    for (size_t i = 0; i < name.size(); ++i)
        if (shape[i] == '?' ? !std::isalpha(static_cast<unsigned char>(name[i])) : name[i] != shape[i])
            return false;
    return true;
}

// The name is the template with its placeholder, the last "XXXXXX" of the
// file name or an added ".XXXXXX", made letters. The default template
// names the process, a child made by fork() included.
TEST(OxTemporaryFileEngine, Templates)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    const mode_t umaskBefore = ::umask(022);
    const std::pair<const char*, const char*> shapes[] = {
        {"a.XXXXXX.dat", "a.??????.dat"}, {"aXXXXXXX", "aX??????"}, {"plain", "plain.??????"}};
    for (const auto& t : shapes) {
        COxTemporaryFileEngine engine(dir.name(t.first), 0666);
        ASSERT_TRUE(engine.open(COxIODevice::WriteOnly)) << t.first;
        const std::string name = str(engine.fileName()).substr(dir.path().size() + 1);
        EXPECT_TRUE(hasShape(name, t.second)) << name;
        struct stat st;
        EXPECT_TRUE(::stat(dir.file(name).c_str(), &st) == 0 && (st.st_mode & 0777) == 0644) << name;
    }
    ::umask(umaskBefore);

    const char* saved = std::getenv("TMPDIR");
    const std::string keep = saved ? saved : "";
    ::setenv("TMPDIR", (dir.path() + "/").c_str(), 1);
    auto expected = [&dir] { return dir.path() + "/ox_temp." + std::to_string(::getpid()) + ".XXXXXX"; };
    EXPECT_EQ(str(COxTemporaryFileEngine::defaultTemplate()), expected());
    EXPECT_EQ(inChild([&] { return str(COxTemporaryFileEngine::defaultTemplate()) == expected() ? 0 : 1; }), 0);
    COxTemporaryFileEngine engine;
    ASSERT_TRUE(engine.open(COxIODevice::WriteOnly));
    EXPECT_EQ(str(engine.fileName()).substr(0, expected().size() - 6), expected().substr(0, expected().size() - 6));
    saved ? ::setenv("TMPDIR", keep.c_str(), 1) : ::unsetenv("TMPDIR");

    COxTemporaryFileEngine nowhere(dir.name("missing/t"));
    EXPECT_FALSE(nowhere.open(COxIODevice::WriteOnly));
    EXPECT_EQ(nowhere.error(), COxFileDevice::OpenError);
    EXPECT_EQ(str(nowhere.errorString()), "No such file or directory");
}

// With the seed fixed the names are known: letters of the minimal-standard
// generator, last character first. A taken name makes the letters count on
// from the first character ("Z" to "a" with a carry, "z" to "A"), and the
// count ends at "ZZZZZZ".
TEST(OxTemporaryFileEngine, CollisionsCountOnUntilZZZZZZ)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    COxTemporaryFileEngine engine(dir.name("c.XXXXXX"));
    auto openWithSeed = [&](uint32_t seed) {
        engine.setSeed(seed);
        return engine.open(COxIODevice::WriteOnly) ? str(engine.fileName()).substr(dir.path().size() + 3)
                                                   : str(engine.errorString());
    };
    EXPECT_EQ(openWithSeed(1), "EWuxJL");
    EXPECT_EQ(openWithSeed(12345), "XfIcUf");
    writeBytes(dir.file("c.XfIcUf"), "kept");
    writeBytes(dir.file("c.ZfIcUf"), "kept");
    EXPECT_EQ(openWithSeed(12345), "YfIcUf");
    EXPECT_EQ(openWithSeed(12345), "agIcUf");
    EXPECT_EQ(readBytes(dir.file("c.XfIcUf")) + readBytes(dir.file("c.ZfIcUf")), "keptkept");
    EXPECT_EQ(openWithSeed(1627409747), "yZZZZZ");
    EXPECT_EQ(openWithSeed(1627409747), "zZZZZZ");
    EXPECT_EQ(openWithSeed(1627409747), "AZZZZZ");

    EXPECT_EQ(openWithSeed(62492352), "WZZZZZ");
    for (const char* letters : {"XZZZZZ", "YZZZZZ", "ZZZZZZ"})
        writeBytes(dir.file(std::string("c.") + letters), "");
    const size_t before = dir.entries().size();
    EXPECT_EQ(openWithSeed(62492352), "File exists");
    EXPECT_EQ(engine.error(), COxFileDevice::OpenError);
    EXPECT_EQ(dir.entries().size(), before);

    // Left to itself, the generator differs from call to call.
    const std::string a = openWithSeed(0);
    EXPECT_NE(a.substr(1), openWithSeed(0).substr(1));
}

} // namespace
