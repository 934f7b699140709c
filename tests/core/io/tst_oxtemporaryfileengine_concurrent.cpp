#include "core/io/oxtemporaryfileengine.h"

#include "iotestsupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <set>
#include <string>
#include <thread>

namespace {

// Two processes of two threads each make files from one template at once.
// Every creation succeeds and every file is one creator's: 500 files per
// process with the names spread by the seeds, then 100 per process with
// one fixed seed, so that all creators race for the same names.
TEST(OxTemporaryFileEngine, ProcessesAndThreadsNeverShareAName_concurrent)
{
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    auto createAll = [&dir](const std::string& who) {
        std::atomic<int> failed{0};
        auto create = [&](int thread) {
            for (int i = 0; i < 300; ++i) {
                COxTemporaryFileEngine engine(dir.name(i < 250 ? "r.XXXXXX" : "f.XXXXXX"));
                engine.setSeed(i < 250 ? 0 : 777);
                const std::string mark = who + std::to_string(thread) + "/" + std::to_string(i);
                failed += !engine.open(COxIODevice::WriteOnly) || engine.write(mark.data(), int64_t(mark.size())) < 0 ||
                          !engine.close();
            }
        };
        std::thread other(create, 1);
        create(0);
        other.join();
        return failed.load();
    };
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0)
        _exit(createAll("child") == 0 ? 0 : 1);
    EXPECT_EQ(createAll("parent"), 0);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);

    const std::vector<std::string> names = dir.entries();
    ASSERT_EQ(names.size(), 1200u);
    std::set<std::string> marks;
    std::set<std::string> tails;
    for (const std::string& name : names) {
        marks.insert(readBytes(dir.file(name)));
        if (name[0] == 'r')
            tails.insert(name.substr(name.size() - 5));
    }
    EXPECT_EQ(marks.size(), 1200u);
    EXPECT_GT(tails.size(), 990u);
}

} // namespace
