#include "core/log/oxdebug.h"
#include "core/log/oxlogfile.h"

#include "logtestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 6;
constexpr int kLinesPerThread = 400;

TEST(OxLogFileConcurrent, ManyThreadsLoseNoQueuedLine)
{
    ScratchDir dir;
    ASSERT_FALSE(dir.path().empty());
    // The real clocks; the file stays the same unless the test runs across
    // midnight, which readAllLogs() below allows for.
    auto sink = std::make_unique<COxLogFile>();
    sink->setBaseDirectory(COxString::fromLocal8Bit(dir.path().c_str()));
    sink->writeLine("open");
    sink->sync();

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&sink, t] {
            for (int i = 0; i < kLinesPerThread; ++i) {
                sink->writeLine("t" + std::to_string(t) + " n" + std::to_string(i));
                if (i % 100 == 0)
                    sink->sync();
            }
        });
    }
    for (std::thread& th : threads)
        th.join();
    sink->sync();
    EXPECT_EQ(sink->acceptedLines(), uint64_t(1 + kThreads * kLinesPerThread));
    sink.reset();

    // Every line once, and each thread's lines in the order it wrote them.
    std::vector<int> next(kThreads, 0);
    int total = 0;
    std::istringstream in(dir.readAllLogs());
    std::string line;
    while (std::getline(in, line)) {
        const size_t close = line.find("] ");
        ASSERT_NE(close, std::string::npos) << line;
        const std::string text = line.substr(close + 2);
        if (text == "open")
            continue;
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(text.c_str(), "t%d n%d", &t, &i), 2) << text;
        ASSERT_TRUE(t >= 0 && t < kThreads);
        EXPECT_EQ(i, next[size_t(t)]) << "thread " << t;
        next[size_t(t)] = i + 1;
        ++total;
    }
    EXPECT_EQ(total, kThreads * kLinesPerThread);
}

TEST(OxLogFileConcurrent, StreamsFromManyThreads)
{
    OxLogCapture capture;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i) {
                COxDebug message = oxWarning();
                message << "thread " << t;
                COxDebug copy = message;
                copy << " item " << i;
            }
        });
    }
    for (std::thread& th : threads)
        th.join();
    EXPECT_EQ(capture.size(), size_t(kThreads * 200));
    EXPECT_EQ(capture.count("thread 3 item 199"), 1u);
}

} // namespace
