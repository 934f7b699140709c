#include "core/io/oxtemporaryfileengine.h"

#include "iotestsupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

// Two processes of two threads each make 500 files per process from one
// template at once: every creation succeeds, every file is one creator's,
// and the names are spread, not counted on from a few shared seeds.
TEST(OxTemporaryFileEngine, ProcessesAndThreadsNeverShareAName_concurrent)
{
    constexpr int kThreads = 2;
    constexpr int kFilesPerThread = 250;
    OxTempDir dir;
    ASSERT_TRUE(dir.isValid());
    const COxString fileTemplate = dir.name("t.XXXXXX");

    // The number of files this process failed to make and fill.
    auto createAll = [&](const std::string& who) {
        std::vector<int> failed(kThreads, 0);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < kFilesPerThread; ++i) {
                    COxTemporaryFileEngine engine(fileTemplate);
                    const std::string mark = who + "/" + std::to_string(t) + "/" + std::to_string(i);
                    failed[size_t(t)] += !engine.open(COxIODevice::WriteOnly) ||
                                         engine.write(mark.data(), int64_t(mark.size())) != int64_t(mark.size()) ||
                                         !engine.close();
                }
            });
        }
        int total = 0;
        for (int t = 0; t < kThreads; ++t) {
            threads[size_t(t)].join();
            total += failed[size_t(t)];
        }
        return total;
    };

    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0)
        _exit(createAll("child") == 0 ? 0 : 1);
    EXPECT_EQ(createAll("parent"), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    const std::vector<std::string> names = dir.entries();
    ASSERT_EQ(names.size(), size_t(2 * kThreads * kFilesPerThread));
    std::set<std::string> marks;
    std::set<std::string> tails;
    for (const std::string& name : names) {
        marks.insert(readBytes(dir.file(name)));
        tails.insert(name.substr(name.size() - 5));
    }
    EXPECT_EQ(marks.size(), names.size());
    EXPECT_GT(tails.size(), names.size() * 99 / 100);
}

} // namespace
