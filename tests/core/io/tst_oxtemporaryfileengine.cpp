#include "core/io/oxdir.h"
#include "core/io/oxtemporaryfileengine.h"

#include "iotestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <sys/stat.h>

namespace {

typedef COxIODevice Io;

bool lettersOnly(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); });
}

mode_t modeOf(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

TEST(OxTemporaryFileEngine, NamesModesAndTemplates)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    const mode_t umaskBefore = ::umask(022);

    // The placeholder is the last "XXXXXX" of the file name; without one,
    // ".XXXXXX" is added.
    const std::pair<std::string, std::string> templates[] = {
        {"a.XXXXXX.dat", "a."}, {"aXXXXXXX", "aX"}, {"plain", "plain."}, {"XXXXXX", ""}};
    for (const auto& t : templates) {
        COxTemporaryFileEngine engine(dir.name(t.first));
        ASSERT_TRUE(engine.open(Io::ReadWrite)) << t.first;
        const std::string name = str(engine.fileName());
        const std::string base = name.substr(dir.path().size() + 1);
        const std::string suffix = t.first == "a.XXXXXX.dat" ? ".dat" : "";
        ASSERT_EQ(base.size(), t.second.size() + 6 + suffix.size()) << base;
        EXPECT_EQ(base.substr(0, t.second.size()), t.second);
        EXPECT_TRUE(lettersOnly(base.substr(t.second.size(), 6))) << base;
        EXPECT_EQ(base.substr(t.second.size() + 6), suffix);
        EXPECT_EQ(modeOf(name), 0600u);
        EXPECT_EQ(engine.write("data", 4), 4);
        ASSERT_TRUE(engine.seek(0));
        char back[4];
        EXPECT_EQ(engine.read(back, 4), 4);
        EXPECT_EQ(std::string(back, 4), "data");
    }

    // Every open makes another file; the umask applies to the mode.
    COxTemporaryFileEngine shared(dir.name("s"), 0666);
    ASSERT_TRUE(shared.open(Io::WriteOnly));
    const std::string first = str(shared.fileName());
    ASSERT_TRUE(shared.open(Io::WriteOnly));
    EXPECT_NE(str(shared.fileName()), first);
    EXPECT_TRUE(pathExists(first) && pathExists(str(shared.fileName())));
    EXPECT_EQ(modeOf(first), 0644u);
    EXPECT_EQ(str(shared.fileTemplate()), dir.file("s"));
    ::umask(umaskBefore);

    COxTemporaryFileEngine nowhere(dir.name("missing/t.XXXXXX"));
    EXPECT_FALSE(nowhere.open(Io::WriteOnly));
    EXPECT_EQ(nowhere.error(), COxFileDevice::OpenError);
    EXPECT_EQ(str(nowhere.errorString()), "No such file or directory");
}

// The default template lives in the temporary directory and names the
// process; a child made by fork() names itself.
TEST(OxTemporaryFileEngine, DefaultTemplate)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    const char* saved = std::getenv("TMPDIR");
    const std::string keep = saved ? saved : "";
    ::setenv("TMPDIR", (dir.path() + "/").c_str(), 1);
    auto expected = [&dir] { return dir.path() + "/ox_temp." + std::to_string(::getpid()) + ".XXXXXX"; };
    EXPECT_EQ(str(COxTemporaryFileEngine::defaultTemplate()), expected());
    EXPECT_EQ(inChild([&] { return str(COxTemporaryFileEngine::defaultTemplate()) == expected() ? 0 : 1; }), 0);

    COxTemporaryFileEngine engine;
    ASSERT_TRUE(engine.open(Io::WriteOnly));
    const std::string prefix = dir.path() + "/ox_temp." + std::to_string(::getpid()) + ".";
    EXPECT_EQ(str(engine.fileName()).substr(0, prefix.size()), prefix);
    EXPECT_EQ(dir.entries().size(), 1u);
    if (saved)
        ::setenv("TMPDIR", keep.c_str(), 1);
    else
        ::unsetenv("TMPDIR");
}

// With the seed fixed the names are known: the letters come from the
// minimal-standard generator, last character first. A taken name makes the
// letters count on from the first character, and the count ends at
// "ZZZZZZ".
TEST(OxTemporaryFileEngine, CollisionsCountOnUntilZZZZZZ)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    auto openWithSeed = [&dir](uint32_t seed) {
        COxTemporaryFileEngine engine(dir.name("c.XXXXXX"));
        engine.setSeed(seed);
        return engine.open(Io::WriteOnly) ? str(engine.fileName()).substr(dir.path().size() + 3) : str(engine.errorString());
    };
    auto taken = [&dir](const std::string& letters) { writeBytes(dir.file("c." + letters), "taken " + letters); };

    EXPECT_EQ(openWithSeed(1), "EWuxJL");
    EXPECT_EQ(openWithSeed(12345), "XfIcUf");
    writeBytes(dir.file("c.XfIcUf"), "first");
    // A taken name is skipped and left as it was.
    EXPECT_EQ(openWithSeed(12345), "YfIcUf");
    taken("ZfIcUf");
    EXPECT_EQ(openWithSeed(12345), "agIcUf"); // "Z" turns to "a" and carries
    EXPECT_EQ(readBytes(dir.file("c.XfIcUf")), "first");
    EXPECT_EQ(readBytes(dir.file("c.ZfIcUf")), "taken ZfIcUf");

    EXPECT_EQ(openWithSeed(1627409747), "yZZZZZ");
    EXPECT_EQ(openWithSeed(1627409747), "zZZZZZ");
    EXPECT_EQ(openWithSeed(1627409747), "AZZZZZ"); // "z" turns to "A"

    EXPECT_EQ(openWithSeed(62492352), "WZZZZZ");
    for (const char* letters : {"XZZZZZ", "YZZZZZ", "ZZZZZZ"})
        taken(letters);
    const size_t before = dir.entries().size();
    COxTemporaryFileEngine engine(dir.name("c.XXXXXX"));
    engine.setSeed(62492352);
    EXPECT_FALSE(engine.open(Io::WriteOnly));
    EXPECT_EQ(engine.error(), COxFileDevice::OpenError);
    EXPECT_EQ(str(engine.errorString()), "File exists");
    EXPECT_EQ(dir.entries().size(), before);

    // Without a fixed seed, names from one template differ from call to call.
    engine.setSeed(0);
    ASSERT_TRUE(engine.open(Io::WriteOnly));
    const std::string a = str(engine.fileName());
    ASSERT_TRUE(engine.open(Io::WriteOnly));
    EXPECT_NE(a.substr(a.size() - 5), str(engine.fileName()).substr(a.size() - 5));
}

} // namespace
