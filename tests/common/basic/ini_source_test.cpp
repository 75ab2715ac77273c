// Files that are missing, unreadable, endless or large, and allocations that fail.

#include "tests/common/basic/failing_allocations.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/parse_ini.h"
#include "tests/common/basic/string_fields.h"
#include "tests/support/DescriptorGuard.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

using dovrel::IniFile;
using dovrel::string;

namespace {

/** A temporary folder for the test's files. */
class IniSource : public testing::Test {
protected:
    IniSource()
    {
        std::string name = testing::TempDir() + "ini_source_XXXXXX";
        if (!::mkdtemp(name.data()))
            throw std::system_error(errno, std::generic_category(), name);
        m_folder = name;
    }
    ~IniSource() override { std::filesystem::remove_all(m_folder); }

    std::string path(std::string const& name) const { return m_folder + '/' + name; }

private:
    std::string m_folder;
};

void expectError(IniFile const& file, int error, std::string const& text)
{
    EXPECT_EQ(file.savedError(), error);
    EXPECT_EQ(narrow(file.errorText()), text);
    EXPECT_EQ(file.size(), 0U);
    EXPECT_FALSE(file.SectionExists(L""));
    EXPECT_EQ(file.ReadString(L"Main", L"k", L"fallback"), string(L"fallback"));
}

void expectNoError(IniFile const& file)
{
    EXPECT_EQ(file.savedError(), 0);
    EXPECT_EQ(narrow(file.errorText()), "");
}

}

TEST_F(IniSource, failsWhenARequiredFileIsMissing)
{
    for (bool const mayBeMissing : {false, true})
        for (bool const third : {false, true}) {
            errno = 0;
            IniFile const file(path("x.ini"), true, mayBeMissing, third);
            EXPECT_EQ(errno, ENOENT);
            expectError(file, ENOENT, "File " + path("x.ini") + " not found!");
        }
}

TEST_F(IniSource, failsWhenAMissingFileIsNotAllowed)
{
    for (bool const third : {false, true})
        expectError(IniFile(path("x.ini"), false, false, third), ENOENT,
            "File " + path("x.ini") + " not found!");
}

TEST_F(IniSource, isEmptyWhenAMissingFileIsAllowed)
{
    for (bool const third : {false, true}) {
        IniFile const file(path("x.ini"), false, true, third);
        expectNoError(file);
        EXPECT_EQ(file.size(), 0U);
    }
}

TEST_F(IniSource, isReadWithAnyFlags)
{
    std::ofstream(path("x.ini")) << "k=1\n";
    for (int flags = 0; flags < 8; ++flags) {
        IniFile const file(path("x.ini"), (flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0);
        expectNoError(file);
        EXPECT_EQ(file.size(), 1U);
    }
}

TEST_F(IniSource, isNotFoundWhenItCannotBeOpenedForAnyReasonKept)
{
    std::ofstream(path("file")) << "";
    std::filesystem::create_symlink("loop", path("loop"));
    std::filesystem::create_symlink("nowhere", path("link"));
    for (std::string const& name : {path("file") + "/x.ini", path("loop"), path("link"),
             path(std::string(5000, 'x')), std::string()}) {
        errno = 0;
        IniFile const file = readIni(name);
        EXPECT_EQ(errno, ENOENT);
        expectError(file, ENOENT, "File " + name + " not found!");
    }
}

TEST_F(IniSource, isFoundByAPathInTheLocalesEncoding)
{
    LocaleScope const locale("C.UTF-8");
    std::ofstream(path("\xC3\xA4\xE2\x82\xAC.ini")) << "k=1\n";
    EXPECT_EQ(readIni(path("\xC3\xA4\xE2\x82\xAC.ini")).size(), 1U);
    expectError(
        readIni(path("\xC3\xB6.ini")), ENOENT, "File " + path("\xC3\xB6.ini") + " not found!");
}

TEST_F(IniSource, failsWhenItIsADirectory)
{
    expectError(readIni(path("")), EISDIR, "File " + path("") + " could not be read!");
    expectError(
        IniFile(path(""), false, true, false), EISDIR, "File " + path("") + " could not be read!");
}

TEST_F(IniSource, isEmptyWhenItIsAFifoWithoutAWriter)
{
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    IniFile const file = readIni(path("fifo"));
    expectNoError(file);
    EXPECT_EQ(file.size(), 0U);
}

TEST_F(IniSource, failsWhenItIsAFifoWhoseWriterStaysOpen)
{
    ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
    int const writer = ::open(path("fifo").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    ASSERT_EQ(::write(writer, "k=1\n", 4), 4);
    expectError(readIni(path("fifo")), EAGAIN, "File " + path("fifo") + " could not be read!");
    ::close(writer);
}

TEST_F(IniSource, isTooLargeWhenItHasNoEnd)
{
    expectError(readIni("/dev/zero"), EFBIG, "File /dev/zero is too large!");
}

TEST_F(IniSource, failsWhenItExceedsTheSizeLimit)
{
    std::ofstream(path("x.ini")) << "k=1\nl=2\n";
    ASSERT_EQ(::truncate(path("x.ini").c_str(), IniFile::LARGEST_FILE), 0);
    IniFile const file = readIni(path("x.ini"));
    expectNoError(file);
    EXPECT_EQ(file.size(), 2U);
    ASSERT_EQ(::truncate(path("x.ini").c_str(), IniFile::LARGEST_FILE + 1), 0);
    expectError(readIni(path("x.ini")), EFBIG, "File " + path("x.ini") + " is too large!");
}

TEST_F(IniSource, leavesNoDescriptorOpen)
{
    std::ofstream(path("x.ini")) << "k=1\n";
    for (std::string const& name :
        {path("x.ini"), path("missing"), path(""), std::string("/dev/zero")}) {
        SCOPED_TRACE(name);
        std::vector<int> const before = testkit::openDescriptors();
        IniFile const file = readIni(name);
        EXPECT_EQ(testkit::openDescriptors(), before);
    }
}

TEST(LargeIniFile, mayHaveALineOfAMebibyte)
{
    std::string const value(1024 * 1024, 'v');
    IniFile const file = parseIni("[s]\na=1\nk=" + value + "\nz=2\n" + std::string(1024 * 1024, ' ')
        + "y = 3 ;" + std::string(1024 * 1024, '[') + "\n");
    EXPECT_EQ(file.size(), 4U);
    EXPECT_EQ(file.ReadInt(L"s", L"y", 0), 3);
    EXPECT_TRUE(narrow(file.ReadString(L"s", L"k", L"")) == value);
}

TEST(LargeIniFile, mayHaveNamesOfAMebibyte)
{
    std::string const name(1024 * 1024, 'N');
    std::string const lower(1024 * 1024, 'n');
    IniFile const file = parseIni('[' + name + "]\n" + name + "=1\n" + lower + "=2\n");
    EXPECT_EQ(file.size(), 1U);
    EXPECT_EQ(file.ReadInt(lower, lower, 0), 1);
}

TEST(LargeIniFile, mayHaveAHundredThousandSections)
{
    constexpr int COUNT = 100'000;
    std::string text;
    for (int i = 0; i < COUNT; ++i)
        text += "[S" + std::to_string(i * 7919 % COUNT) + "]\nk=" + std::to_string(i) + '\n';
    IniFile const file = parseIni(text);
    ASSERT_EQ(file.size(), static_cast<size_t>(COUNT));
    for (int i = 0; i < COUNT; i += 997)
        EXPECT_EQ(file.ReadInt("s" + std::to_string(i * 7919 % COUNT), L"K", -1), i);
    EXPECT_FALSE(file.SectionExists(L"S100000"));
}

TEST(LargeIniFile, mayHaveAHundredThousandEmptyHeadings)
{
    std::string text;
    for (int i = 0; i < 100'000; ++i)
        text += "[]\n";
    EXPECT_EQ(parseIni(text + "k=1\n").ReadInt(L"", L"k", 0), 1);
}

TEST(IniFileAllocationFailure, leaksNothingWhileTheFileIsRead)
{
    MemoryFile const source("free=1\n[A section with a long name]\nA key with a long name=a long "
                            "value of this key\n\xC3\x84=\xE2\x82\xAC\n[b]\nx=2\nX=3\n");
    string const path(source.path());
    LocaleScope const locale("C.UTF-8");
    ASSERT_EQ(IniFile(path, true, false, false).size(), 4U);

    size_t entries = 0;
    size_t const runs =
        testkit::failEachAllocation([&] { entries = IniFile(path, true, false, false).size(); },
            [&](bool /*failed*/, bool thrown) {
                // A request to shrink a buffer may fail without an exception.
                EXPECT_TRUE(thrown || entries == 4) << entries;
                entries = 0;
            });
    EXPECT_GT(runs, 5U);
}

TEST(IniFileAllocationFailure, leaksNothingDuringLookUps)
{
    IniFile const file = parseIni("[A section with a long name]\nA key with a long name=1\nb=2\n");
    string const section(L"a section with a long name");
    string const key(L"a key with a long name");
    string const none(L"a fallback with a long text");
    bool right = false;
    size_t const runs = testkit::failEachAllocation(
        [&] {
            string out;
            right = file.lookupString(section, key, out) && file.ReadInt(section, key, 0) == 1
                && file.ReadBool(section, key, false) && file.ReadSectionValues(section).size() == 2
                && file.ReadSectionNames().size() == 1 && file.SectionExists(section)
                && file.ReadString(section, none, none) == none;
        },
        [&](bool failed, bool thrown) {
            EXPECT_EQ(thrown, failed);
            EXPECT_TRUE(thrown || right);
            right = false;
        });
    EXPECT_GT(runs, 5U);
}

TEST(IniFileAllocationFailure, leaksNothingWhileAMissingFileIsReported)
{
    string const path(L"/nowhere/at/all/of/a/long/name.ini");
    size_t const runs =
        testkit::failEachAllocation([&] { IniFile const file(path, true, false, false); },
            [](bool failed, bool thrown) { EXPECT_EQ(thrown, failed); });
    EXPECT_GT(runs, 2U);
}
