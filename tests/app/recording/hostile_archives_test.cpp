// Archives that somebody made to do harm, or that a disk damaged.

#include "app/recording/archive/GzipWriter.h"
#include "app/recording/archive/archive.h"
#include "app/recording/archive/limits.h"
#include "tests/app/recording/OddRecording.h"
#include "tests/app/recording/PackedArchive.h"
#include "tests/app/recording/ReadingProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using app::TarHeader;
using app_test::expectRefused;
using app_test::gzipped;
using app_test::gzippedZeros;
using app_test::PackedArchive;
using app_test::PackedMember;
using app_test::smallRecording;
using app_test::tarOf;

namespace {

/** @return the small archive with a further member. */
std::string archiveWith(PackedMember const& member)
{
    PackedArchive archive(smallRecording());
    archive.members.insert(archive.members.begin(), member);
    return archive.packed();
}

std::string archiveWithFile(std::string const& name)
{
    return archiveWith({name, "content", app::TAR_FILE, "", {}});
}

std::string archiveWithType(char type)
{
    return archiveWith({"root/a", "", type, "root/proc/stat", {}});
}

std::string archiveWithLink(std::string const& target)
{
    return archiveWith({"root/a/b", "", app::TAR_LINK, target, {}});
}

std::string archiveWithSize(std::string const& field)
{
    return archiveWith({"root/a", "", app::TAR_FILE, "",
        [field](TarHeader& header) { field.copy(header.size.data(), header.size.size()); }});
}

std::string tarOfSmallRecording()
{
    PackedArchive const archive(smallRecording());
    std::vector<PackedMember> members = archive.members;
    members.insert(
        members.begin(), {"manifest.json", archive.manifest.dump(), app::TAR_FILE, "", {}});
    return tarOf(members);
}

/** @return the message of the error; "read" where it is the small recording, "another" else. */
std::string messageOfBytes(std::string const& bytes)
{
    std::istringstream stream(bytes);
    try {
        app::Recording const read = app::readRecording(stream);
        return app::archiveOf(read) == app::archiveOf(smallRecording()) ? "read" : "another";
    } catch (app::ArchiveError const& error) {
        return error.what();
    }
}

}

TEST(HostileArchive, isRefusedForANameThatLeadsElsewhere)
{
    expectRefused(archiveWithFile("root/../../x"), "root/../../x: its name is empty, or it has");
    expectRefused(archiveWithFile("./../x"), "../x: its name is empty, or it has");
    expectRefused(archiveWithFile("root/./x"), "root/./x: its name is empty, or it has");
    expectRefused(archiveWithFile("root//x"), "root//x: its name is empty, or it has");
    expectRefused(archiveWithFile("root/x/"), "root/x/: its name is empty, or it has");
    expectRefused(archiveWithFile(".//x"), "/x: its name is absolute");
    expectRefused(archiveWithFile("/etc/passwd"), "/etc/passwd: its name is absolute");
    expectRefused(archiveWithFile(""), "member 2: its name is empty, or it has");
    expectRefused(archiveWithFile("."), ".: its name is empty, or it has");
    expectRefused(
        archiveWith({"root/..", "", app::TAR_FOLDER, "", {}}), "root/..: its name is empty");
    expectRefused(archiveWith({"//", "", app::TAR_FOLDER, "", {}}), "/: its name is absolute");
    expectRefused(archiveWith({"x", "", app::TAR_FILE, "",
                      [](TarHeader& header) {
                          header.prefix = {'.', '.'};
                      }}),
        "../x: its name is empty, or it has");
}

TEST(HostileArchive, isRefusedForANameThatATerminalObeys)
{
    expectRefused(archiveWithFile("root/\x1b[2J"), "root/%1B[2J: its name has a control character");
    expectRefused(archiveWithFile("root/a\nb"), "root/a%0Ab: its name has a control character");
    expectRefused(archiveWithFile("root/\xff"), "root/%FF: its name has a control character");
}

TEST(HostileArchive, isRefusedForALinkThatLeadsOutOfIt)
{
    for (char const* const target : {"/etc/passwd", "../../../etc", "c/../../d", "..//../..", ""})
        expectRefused(
            archiveWithLink(target), "root/a/b: it is a link that leads out of the archive");
    expectRefused(archiveWithLink("../c"), "root/a/b: the manifest has no such link");
    expectRefused(archiveWith({"README", "", app::TAR_LINK, "root", {}}),
        "README: the manifest has no such link");
    PackedArchive archive(smallRecording());
    archive.member("root/sys/block/sda").target = "../devices/sdb";
    expectRefused(archive.packed(), "root/sys/block/sda: the manifest has another target");
    archive.member("root/sys/block/sda").name = "root/proc/stat";
    archive.remove("root/proc/stat");
    EXPECT_THAT(messageOfBytes(archive.packed()), testing::HasSubstr("root/proc/stat: "));
}

TEST(HostileArchive, isRefusedForAnythingButFilesLinksAndFolders)
{
    expectRefused(archiveWithType('1'), "root/a: it is a hard link");
    expectRefused(archiveWithType('3'), "root/a: it is a device");
    expectRefused(archiveWithType('4'), "root/a: it is a device");
    expectRefused(archiveWithType('6'), "root/a: it is a FIFO");
    expectRefused(archiveWithType('x'), "root/a: it is a header of the pax format");
    expectRefused(archiveWithType('g'), "root/a: it is a header of the pax format");
    expectRefused(archiveWithType('L'), "root/a: it is a long name of the GNU format");
    expectRefused(archiveWithType('K'), "root/a: it is a long name of the GNU format");
    expectRefused(archiveWithType('S'), "root/a: it is of an unknown type");
    expectRefused(archiveWithType('7'), "root/a: it is of an unknown type");
}

TEST(HostileArchive, isRefusedForAMemberThatIsThereTwice)
{
    expectRefused(archiveWithFile("root/proc/stat"), "root/proc/stat: it is there twice");
    expectRefused(archiveWithFile("./manifest.json"), "manifest.json: it is there twice");
    expectRefused(archiveWith({"root/sys/block/sda", "", app::TAR_LINK, "../devices/sda", {}}),
        "root/sys/block/sda: it is there twice");
    expectRefused(archiveWithFile("root/sys/block/sda"), "root/sys/block/sda: it is there twice");
}

TEST(HostileArchive, isRefusedForASizeThatIsNone)
{
    expectRefused(archiveWithSize(std::string("\x80\0\0\0\0\0\0\0\0\0\0\1", 12)),
        "root/a: its size is wrong");
    expectRefused(archiveWithSize("-0000000001"), "root/a: its size is wrong");
    expectRefused(archiveWithSize("00000000008"), "root/a: its size is wrong");
    expectRefused(archiveWithSize("           "), "root/a: its size is wrong");
    expectRefused(
        archiveWith({"root/a", "x", app::TAR_FOLDER, "", {}}), "root/a: its size is wrong");
    expectRefused(
        archiveWith({"root/a", "x", app::TAR_LINK, "b", {}}), "root/a: its size is wrong");
}

TEST(HostileArchive, isRefusedForMembersThatAreTooLarge)
{
    expectRefused(archiveWithSize("77777777777"), "root/a: it is larger than 1048576 bytes");
    expectRefused(archiveWithSize("777777777777"), "root/a: it is larger than 1048576 bytes");
    expectRefused(archiveWithSize("00004000001"), "root/a: it is larger than 1048576 bytes");
    std::vector<PackedMember> members;
    for (unsigned i = 0; i < 65; ++i)
        members.push_back(
            {"root/" + std::to_string(i), std::string(1024 * 1024, 'a'), app::TAR_FILE, "", {}});
    expectRefused(
        gzipped(tarOf(members)), "root/64: with it, the contents are larger than 67108864 bytes");
    constexpr unsigned LARGE = 100;
    TarHeader header{};
    std::string const tar = tarOf({{"manifest.json", "", app::TAR_FILE, "",
        [](TarHeader& changed) { std::string("00620000000").copy(changed.size.data(), 11); }}});
    expectRefused(gzippedZeros(tar.substr(0, sizeof(header)), LARGE),
        "manifest.json: it is larger than 16777216 bytes");
}

TEST(HostileArchive, isRefusedForTooManyMembers)
{
    constexpr unsigned MANY = 100'000;
    std::string const folder =
        tarOf({{"root", "", app::TAR_FOLDER, "", {}}}).substr(0, sizeof(TarHeader));
    app::GzipWriter writer;
    for (unsigned i = 0; i < MANY; ++i)
        writer.write(folder);
    expectRefused(writer.end(), "member 60001: the archive has more than 60000 members");
}

TEST(HostileArchive, isRefusedForZerosWithoutEnd)
{
    constexpr unsigned TEN_GIBIBYTES = 10 * 1024;
    expectRefused(
        gzippedZeros("", TEN_GIBIBYTES), "the end of the archive: more than 1048576 zeros");
    std::string head = tarOfSmallRecording();
    head.resize(head.size() - 10'240);
    expectRefused(
        gzippedZeros(head, TEN_GIBIBYTES), "the end of the archive: more than 1048576 zeros");
}

TEST(HostileArchive, isRefusedForAStreamThatGrowsWithoutAByte)
{
    // Stored blocks of no bytes, RFC 1951.
    std::string blocks("\0\0\0\xff\xff", 5);
    while (blocks.size() <= app::MOST_COMPRESSED)
        blocks += std::string(blocks);
    std::string bytes = gzipped("").substr(0, 10) + blocks;
    auto const reading = app_test::readInChild(bytes);

    EXPECT_EQ(reading.message, "member 1: the file is larger than 100663296 bytes");
    EXPECT_LT(reading.seconds, 10);
}

TEST(HostileArchive, isRefusedForAWrongChecksumOfEachMember)
{
    std::string const tar = tarOfSmallRecording();
    unsigned refused = 0;
    for (size_t i = 0; i < sizeof(TarHeader); ++i) {
        std::string damaged = tar;
        damaged[i] = static_cast<char>(damaged[i] ^ 1);
        std::string const message = messageOfBytes(gzipped(damaged));
        // The last byte of the checksum is a blank that no reader needs.
        if (message != "read") {
            ++refused;
            EXPECT_EQ(message, "member 1: the checksum is wrong") << i;
        }
    }
    EXPECT_GE(refused, sizeof(TarHeader) - 2);
}

TEST(HostileArchive, isRefusedWhereItIsCutShort)
{
    std::string const whole = app::archiveOf(smallRecording());
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_THAT(
            messageOfBytes(whole.substr(0, size)), testing::HasSubstr(": the file is cut short"))
            << size;
    std::string const tar = tarOfSmallRecording();
    size_t const end =
        tar.find_last_not_of('\0') / sizeof(TarHeader) * sizeof(TarHeader) + sizeof(TarHeader);
    for (size_t size = 0; size < end + 2 * sizeof(TarHeader); size += 100)
        EXPECT_THAT(
            messageOfBytes(gzipped(tar.substr(0, size))), testing::HasSubstr("is cut short"))
            << size;
    EXPECT_EQ(messageOfBytes(gzipped(tar.substr(0, end + 2 * sizeof(TarHeader)))), "read");
}

TEST(HostileArchive, isRefusedOrTheSameWhereAByteIsDamaged)
{
    std::string const whole = app::archiveOf(smallRecording());
    size_t refused = 0;
    for (size_t i = 0; i < whole.size(); ++i) {
        std::string damaged = whole;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
        std::string const message = messageOfBytes(damaged);
        // Time and system of the gzip header have no checksum, and zeros can be copied from any
        // place where there are some, RFC 1951 and RFC 1952.
        EXPECT_NE(message, "another") << i;
        refused += message != "read";
    }
    EXPECT_GE(refused, whole.size() - 20);
}

/** A stream that fails behind its first bytes, as that of a file on a broken disk. */
TEST(HostileArchive, isRefusedWhereItCannotBeReadToItsEnd)
{
    struct BrokenDisk : std::stringbuf {
        using std::stringbuf::stringbuf;
        int_type underflow() override { throw std::runtime_error("Input/output error"); }
    };
    BrokenDisk disk(app::archiveOf(smallRecording()).substr(0, 100));
    std::istream stream(&disk);
    try {
        (void)app::readRecording(stream);
        ADD_FAILURE() << "it was read";
    } catch (app::ArchiveError const& error) {
        EXPECT_THAT(error.what(), testing::EndsWith(": the file cannot be read"));
    }
}

TEST(HostileArchive, isRefusedWhereDataFollowsIt)
{
    std::string const whole = app::archiveOf(smallRecording());
    char const* const message = "the end of the archive: data follows the gzip stream";
    expectRefused(whole + "garbage", message);
    expectRefused(whole + std::string(1, '\0'), message);
    expectRefused(whole + whole, message);
    expectRefused(whole + gzipped(""), message);
    expectRefused(
        gzipped(tarOfSmallRecording() + "garbage"), "the end of the archive: data follows it");
    expectRefused(gzipped(std::string(512, '\0') + tarOfSmallRecording()),
        "the end of the archive: data follows it");
}

TEST(HostileArchive, isRefusedWhereItIsNone)
{
    expectRefused("", "member 1: the file is cut short");
    expectRefused("PK\3\4", "member 1: the gzip stream is damaged, or it is none");
    expectRefused(tarOfSmallRecording(), "member 1: the gzip stream is damaged, or it is none");
    expectRefused(gzipped(""), "member 1: the archive is cut short");
    expectRefused(gzipped(std::string(1024, 'a')), "member 1: the checksum is wrong");
    expectRefused(gzipped(std::string(1024, '\0')), "manifest.json: it is not in the archive");
}
