#include "core/log/oxlogfile.h"

#include "logtestsupport.h"
#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <sys/stat.h>

namespace {

const char kWarning[] = "Failed to create log file: ";

TEST(OxLogFile, LinesGoToTheDatedFileAndAreFlushedEveryTenSeconds)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.isValid());
    FakeLogClock clock(2026, 11, 15, 8, 9, 10);
    COxLogFile sink(clock);
    sink.setBaseDirectory(COxString::fromLocal8Bit(dir.path().c_str()));
    const std::string file = dir.logFile("2026-11-15");

    sink.writeLine("hello");
    sink.writeLine(""); // not queued
    sink.sync(); // opens the file: the flush period starts here
    clock.advanceSeconds(1);
    sink.writeLine("world");
    EXPECT_EQ(sink.acceptedLines(), 2u);
    sink.sync();
    // Written, but still buffered: the flush comes with the period.
    EXPECT_EQ(readFile(file), "");

    clock.advanceNanoseconds(8'999'999'999);
    sink.sync();
    EXPECT_EQ(readFile(file), "");
    clock.advanceNanoseconds(1);
    sink.sync();
    EXPECT_EQ(readFile(file), "[2026-11-15 08:09:10] hello\n[2026-11-15 08:09:11] world\n");
}

TEST(OxLogFile, RotatesToTheNewDayAtTheFirstFlushAfterMidnight)
{
    ScratchDir dir;
    FakeLogClock clock(2026, 12, 31, 23, 59, 58);
    {
        COxLogFile sink(clock);
        sink.setBaseDirectory(COxString::fromLocal8Bit(dir.path().c_str()));
        sink.writeLine("late");
        sink.sync();

        // Past midnight, but the flush period is not over: the date is only
        // checked at flush time, so this line still goes to the old file.
        clock.advanceSeconds(4);
        sink.writeLine("after midnight");
        sink.sync();

        clock.advanceSeconds(10);
        sink.writeLine("next day");
        sink.sync();
    }
    EXPECT_EQ(readFile(dir.logFile("2026-12-31")),
              "[2026-12-31 23:59:58] late\n[2027-01-01 00:00:02] after midnight\n");
    EXPECT_EQ(readFile(dir.logFile("2027-01-01")), "[2027-01-01 00:00:12] next day\n");
}

TEST(OxLogFile, FailedOpenWarnsOncePerThirtySecondsAndDropsLines)
{
    ScratchDir dir;
    OxLogCapture capture;
    FakeLogClock clock(2026, 11, 15, 12, 0, 0);
    auto sink = std::make_unique<COxLogFile>(clock);

    // No base directory: the path is empty.
    sink->writeLine("a");
    sink->sync();
    ASSERT_EQ(capture.size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, kWarning);

    clock.advanceNanoseconds(29'999'999'999);
    sink->writeLine("b");
    sink->sync();
    EXPECT_EQ(capture.size(), 1u);

    clock.advanceNanoseconds(1);
    sink->writeLine("c");
    sink->sync();
    EXPECT_EQ(capture.count(kWarning), 2u);

    // A plain file where the directory should go.
    const std::string blocker = dir.path() + "/blocker";
    std::fclose(std::fopen(blocker.c_str(), "w"));
    sink->setBaseDirectory(COxString::fromLocal8Bit(blocker.c_str()));
    clock.advanceSeconds(30);
    sink->writeLine("d");
    sink->sync();
    ASSERT_EQ(capture.size(), 3u);
    EXPECT_EQ(capture.lines()[2].text,
              std::string(kWarning) + blocker + "/haldensdk/log/haldensdklog(2026-11-15).log");

    // A usable directory is picked up at the next attempt, not before.
    sink->setBaseDirectory(COxString::fromLocal8Bit(dir.path().c_str()));
    clock.advanceSeconds(29);
    sink->writeLine("e");
    sink->sync();
    struct stat st;
    EXPECT_NE(::stat(dir.logFile("2026-11-15").c_str(), &st), 0);
    clock.advanceSeconds(1);
    sink->writeLine("f");
    sink->sync();
    sink.reset();
    EXPECT_EQ(capture.size(), 3u);
    EXPECT_EQ(readFile(dir.logFile("2026-11-15")), "[2026-11-15 12:01:30] f\n");
}

} // namespace
