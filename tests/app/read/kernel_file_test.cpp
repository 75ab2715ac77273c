#include "app/read/Reader.h"
#include "app/read/kernel_file.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/ReadCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testkit::machine;

namespace {

constexpr size_t LARGEST = size_t{16} * 1024 * 1024;

}

TEST(KernelFile, isReadWhole)
{
    using namespace std::string_literals;
    machine.file("/proc/x", "one\ntwo\0three"s);
    EXPECT_EQ(app::readFile("/proc/x"), "one\ntwo\0three"s);
    machine.file("/proc/x", "");
    EXPECT_EQ(app::readFile("/proc/x"), "");
}

TEST(KernelFile, isReadWholeBetweenSignals)
{
    machine.file("/proc/x", "four");
    testkit::ReadCalls reads("/proc/x");
    reads.giveSingleBytesBetweenSignals();
    EXPECT_EQ(app::readFile("/proc/x"), "four");
    EXPECT_GE(reads.failures(), 4U);
}

TEST(KernelFile, isNothingWhereReadingFails)
{
    machine.file("/proc/x", "four");
    testkit::ReadCalls reads("/proc/x");
    reads.failBehind(2, EIO);
    EXPECT_EQ(app::readFile("/proc/x"), std::nullopt);
    EXPECT_EQ(errno, EIO);
}

TEST(KernelFile, isNothingWhereItIsMissing)
{
    EXPECT_EQ(app::readFile("/proc/x"), std::nullopt);
    EXPECT_EQ(errno, ENOENT);
}

TEST(KernelFile, isNothingWhereItIsAFolder)
{
    EXPECT_EQ(app::readFile("/proc"), std::nullopt);
    EXPECT_EQ(errno, EISDIR);
}

TEST(KernelFile, doesNotBlockOnAFifo)
{
    ASSERT_EQ(mkfifo("/proc/x", 0600), 0);
    app::UnreadableFiles const unreadable;
    EXPECT_EQ(app::readFile("/proc/x"), std::nullopt);
    EXPECT_EQ(errno, app::NO_REGULAR_FILE);
    ASSERT_EQ(unreadable.files.size(), 1U);
    EXPECT_EQ(app::errorText(unreadable.files[0].error), "it is no regular file");
}

TEST(KernelFile, isReadUpTo16MiB)
{
    machine.file("/proc/x", std::string(LARGEST, 'x'));
    EXPECT_EQ(app::readFile("/proc/x").value_or("").size(), LARGEST);
    machine.file("/proc/x", std::string(LARGEST + 1, 'x'));
    EXPECT_EQ(app::readFile("/proc/x"), std::nullopt);
    EXPECT_EQ(errno, EFBIG);
}

TEST(KernelFile, hasAFirstLineWithoutBlanksAndNulBytesAroundIt)
{
    using namespace std::string_literals;
    machine.file("/sys/x", " \tAcme Rocket \0\nsecond\n"s);
    EXPECT_EQ(app::readLine("/sys/x"), "Acme Rocket");
    machine.file("/sys/x", "no newline");
    EXPECT_EQ(app::readLine("/sys/x"), "no newline");
    machine.file("/sys/x", " \nsecond\n");
    EXPECT_EQ(app::readLine("/sys/x"), std::nullopt);
}

TEST(KernelFile, hasANumberOnlyWhereTheWholeLineIsOne)
{
    machine.file("/sys/x", "18446744073709551615\n");
    EXPECT_EQ(app::readNumber("/sys/x"), UINT64_MAX);
    for (char const* const text :
        {"18446744073709551616", "-1", "+1", "1 2", "0x10", "", "<unknown>"}) {
        machine.file("/sys/x", text);
        EXPECT_EQ(app::readNumber("/sys/x"), std::nullopt) << text;
    }
}

TEST(KernelFile, hasAFlagWhereItHasANumber)
{
    machine.file("/sys/x", "1\n");
    EXPECT_EQ(app::readFlag("/sys/x"), true);
    machine.file("/sys/x", "0\n");
    EXPECT_EQ(app::readFlag("/sys/x"), false);
    EXPECT_EQ(app::readFlag("/sys/y"), std::nullopt);
}

TEST(Folder, hasItsNamesInNaturalOrder)
{
    for (char const* const name : {"/sys/x/b", "/sys/x/a10", "/sys/x/a9", "/sys/x/.c"})
        machine.file(name, "");
    EXPECT_THAT(app::namesIn("/sys/x"), Optional(ElementsAre(".c", "a9", "a10", "b")));
}

TEST(Folder, isNothingWhereItCannotBeRead)
{
    EXPECT_EQ(app::namesIn("/sys/x"), std::nullopt);
    EXPECT_EQ(errno, ENOENT);
}

TEST(Folder, isUnreadableWhereItsListEndsEarly)
{
    for (char const* const name : {"/sys/x/a", "/sys/x/b", "/sys/x/c"})
        machine.file(name, "");
    app_read_test::FakeCalls calls;
    app::UnreadableFiles const unreadable;
    EXPECT_THAT(app::namesIn("/sys/x"), Optional(testing::SizeIs(3)));
    EXPECT_THAT(unreadable.files, IsEmpty());
    calls.entriesBeforeFailure = 4;
    EXPECT_THAT(app::namesIn("/sys/x"), Optional(testing::SizeIs(2)));
    ASSERT_EQ(unreadable.files.size(), 1U);
    EXPECT_EQ(unreadable.files[0].path, "/sys/x");
    EXPECT_EQ(unreadable.files[0].error, EIO);
}

TEST(Path, isResolvedWithoutLinks)
{
    machine.file("/sys/devices/x", "");
    machine.link("/sys/x", "devices/x");
    machine.link("/sys/y", "devices/gone");
    EXPECT_EQ(app::resolved("/sys/x"), "/sys/devices/x");
    EXPECT_EQ(app::resolved("/sys/y"), std::nullopt);
    EXPECT_FALSE(app::exists("/sys/y"));
}

TEST(Text, hasLinesWithAndWithoutALastNewline)
{
    EXPECT_THAT(app::linesOf("a\n\nb"), ElementsAre("a", "", "b"));
    EXPECT_THAT(app::linesOf("a\n"), ElementsAre("a"));
    EXPECT_THAT(app::linesOf(""), IsEmpty());
}

TEST(Text, hasWordsBetweenBlanksAndTabs)
{
    EXPECT_THAT(app::wordsOf(" a\t bc "), ElementsAre("a", "bc"));
    EXPECT_THAT(app::wordsOf(" \t"), IsEmpty());
}

TEST(OctalEscape, isDecodedWhereItIsWhole)
{
    EXPECT_EQ(app::decodeOctal("my\\040disk\\134x"), "my disk\\x");
    EXPECT_EQ(app::decodeOctal("\\377"), "\xFF");
    for (char const* const text : {"\\04", "\\400", "\\08x", "\\", "x"})
        EXPECT_EQ(app::decodeOctal(text), text);
}

TEST(UnreadableFiles, areThoseThatExistAndCannotBeRead)
{
    machine.file("/sys/denied", "1");
    machine.file("/sys/broken", "1");
    ASSERT_EQ(chmod("/sys/denied", 0), 0);
    app::UnreadableFiles const unreadable;
    EXPECT_EQ(app::readNumber("/sys/denied"), std::nullopt);
    EXPECT_EQ(app::readLine("/sys/denied"), std::nullopt);
    EXPECT_EQ(app::readLine("/sys/missing"), std::nullopt);
    EXPECT_EQ(app::namesIn("/sys/missing"), std::nullopt);
    testkit::ReadCalls reads("/sys/broken");
    reads.failBehind(0, EIO);
    EXPECT_EQ(app::readFile("/sys/broken"), std::nullopt);
    EXPECT_EQ(errno, EIO);
    ASSERT_EQ(unreadable.files.size(), 2U);
    EXPECT_EQ(unreadable.files[0].path, "/sys/denied");
    EXPECT_EQ(unreadable.files[0].error, EACCES);
    EXPECT_EQ(unreadable.files[1].path, "/sys/broken");
    EXPECT_EQ(unreadable.files[1].error, EIO);
}

TEST(UnreadableFiles, includeThoseWithoutANumber)
{
    std::pair<char const*, char const*> const reasons[] = {{"", "it is empty"},
        {"12 kB", "it has no number"}, {"-1", "it has no number"}, {"8", "its number is too large"},
        {"18446744073709551616", "its number is too large"}};
    for (auto const& [text, reason] : reasons) {
        machine.file("/sys/x", text);
        app::UnreadableFiles const unreadable;
        EXPECT_EQ(app::readNumber("/sys/x", 7), std::nullopt);
        ASSERT_EQ(unreadable.files.size(), 1U) << text;
        EXPECT_EQ(app::errorText(unreadable.files[0].error), reason);
    }
    machine.file("/sys/x", "-1");
    app::UnreadableFiles const unreadable;
    EXPECT_EQ(app::readNumber("/sys/x", 7, "-1"), std::nullopt);
    EXPECT_TRUE(unreadable.files.empty()) << "the kernel's word for an unknown number";
}

TEST(UnreadableFiles, areNoFilesWithoutAValue)
{
    machine.file("/sys/speed", "1");
    for (int const error : {EINVAL, ENODATA, EOPNOTSUPP, EBUSY, ENODEV, ENXIO}) {
        testkit::ReadCalls reads("/sys/speed");
        reads.failBehind(0, error);
        app::UnreadableFiles const unreadable;
        EXPECT_EQ(app::readFile("/sys/speed"), std::nullopt);
        EXPECT_EQ(errno, error);
        EXPECT_TRUE(unreadable.files.empty()) << error;
    }
}

TEST(UnreadableFiles, areNoneBelowAFile)
{
    machine.file("/sys/speed", "1");
    app::UnreadableFiles const unreadable;
    EXPECT_EQ(app::readFile("/sys/speed/unit"), std::nullopt);
    EXPECT_EQ(app::namesIn("/sys/speed"), std::nullopt);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_TRUE(unreadable.files.empty());
}

TEST(UnreadableFiles, belongToTheInnermostGroup)
{
    machine.file("/sys/denied", "1");
    ASSERT_EQ(chmod("/sys/denied", 0), 0);
    app::UnreadableFiles const outer;
    {
        app::UnreadableFiles const inner;
        EXPECT_EQ(app::readFile("/sys/denied"), std::nullopt);
        EXPECT_EQ(inner.files.size(), 1U);
    }
    EXPECT_TRUE(outer.files.empty());
    EXPECT_EQ(app::readFile("/sys/denied"), std::nullopt);
    EXPECT_EQ(outer.files.size(), 1U);
}

TEST(UnreadableFiles, makeOneProblemWithTheFirstReason)
{
    app::Machine read;
    app::UnreadableFiles unreadable;
    addUnreadable(read, app::Subject::DISKS, "facts of the disks", unreadable);
    EXPECT_THAT(read.problems, IsEmpty());
    unreadable.files = {{"/sys/a", EACCES}};
    addUnreadable(read, app::Subject::DISKS, "facts of the disks", unreadable);
    unreadable.files = {{"/sys/a", EACCES}, {"/sys/b", EIO}, {"/sys/c", EIO}};
    addUnreadable(read, app::Subject::DISKS, "facts of the disks", unreadable);
    ASSERT_EQ(read.problems.size(), 2U);
    EXPECT_EQ(read.problems[0].source, "/sys/a");
    EXPECT_EQ(read.problems[0].fact, "facts of the disks");
    EXPECT_EQ(read.problems[1].source, "/sys/a and 2 other files");
    EXPECT_EQ(read.problems[1].reason, "Permission denied");
}
