// The text format of the machines and the screens of terminals.

#include "tests/machines/MachineFile.h"
#include "tests/machines/Variables.h"
#include "tests/machines/screen.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <clocale>
#include <filesystem>

using machines::MachineFile;
using machines::screenAfter;
using machines::Variables;
using testkit::contentsOf;
using testkit::machine;

namespace {

/** Builds a machine from text. The file lies in the fake root as well as any other. */
void build(std::string const& text)
{
    machine.file("/text.machine", text);
    MachineFile("/text.machine").build();
}

/** @return the message of the error that the text causes. */
std::string errorOf(std::string const& text)
{
    try {
        build(text);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "";
}

}

TEST(Variables, replaceNamesAndExpressions)
{
    Variables variables;
    variables.set("i", "27");
    variables.set("br-lan", "/sys/br");
    variables.set("name", "br-lan");
    EXPECT_EQ(variables.substitute("{i} {i%4*2} {(i-2)/5}"), "27 6 5");
    EXPECT_EQ(variables.substitute("{br-lan} {@name}"), "/sys/br /sys/br");
    EXPECT_EQ(variables.substitute("${i} {{x}"), "${i} {x}");
}

TEST(Variables, formatNumbersTextsAndAddresses)
{
    Variables variables;
    variables.set("i", "27");
    variables.set("word", "ab");
    variables.set("gateway", "192.0.2.1");
    variables.set("ipv6", "2001:db8::1");
    EXPECT_EQ(variables.substitute("{i:letters} {i:x} {i:04} {i:04x}"), "ab 1b 0027 001b");
    EXPECT_EQ(variables.substitute("[{word:<4}] [{word:>4}] {word:upper}"), "[ab  ] [  ab] AB");
    EXPECT_EQ(variables.substitute("{gateway:address}"), "010200C0");
    EXPECT_EQ(variables.substitute("{ipv6:address}"), "20010db8000000000000000000000001");
}

TEST(Variables, refuseUnknownNamesAndWrongExpressions)
{
    Variables const variables;
    for (char const* const text : {"{nobody}", "{1+}", "{1/0}", "{(1}", "{1", "{1:}", "{1 2}"})
        EXPECT_THROW(variables.substitute(text), std::runtime_error) << text;
}

TEST(MachineFile, makesFilesLinksAndTools)
{
    build("file /etc/a\n"
          "    one\n"
          "\n"
          "      two\n"
          "\n"
          "file /etc/b = text with blanks\n"
          "line /etc/b \tsecond\n"
          "files /sys/block/sda\n"
          "    size = 8\n"
          "    model = Acme    \n"
          "bytes /etc/c\n"
          "    00 ff\n"
          "link /sys/class/x /sys/devices/pci/x\n"
          "link /dev/y ../z\n"
          "tool /sbin/t\n"
          "    echo \"${HOME}\"\n");
    EXPECT_EQ(contentsOf("/etc/a"), "one\n\n  two\n");
    EXPECT_EQ(contentsOf("/etc/b"), "text with blanks\n\tsecond\n");
    EXPECT_EQ(contentsOf("/sys/block/sda/size"), "8\n");
    EXPECT_EQ(contentsOf("/sys/block/sda/model"), "Acme    \n");
    EXPECT_EQ(contentsOf("/etc/c"), std::string("\0\xff", 2));
    EXPECT_EQ(std::filesystem::read_symlink("/sys/class/x"), "../devices/pci/x");
    EXPECT_EQ(std::filesystem::read_symlink("/dev/y"), "../z");
    EXPECT_NE(contentsOf("/sbin/t").find("echo \"${HOME}\"\n"), std::string::npos);
}

TEST(MachineFile, repeatsLinesAndCallsTemplates)
{
    build("template disk name size\n"
          "    set {name} /sys/block/{name}\n"
          "    file {@name}/size = {size}\n"
          "repeat i 0 1\n"
          "    each kind s h\n"
          "        disk {kind}d{i:letters} {i+1}\n"
          "disk md0 \"9 bytes\"\n");
    EXPECT_EQ(contentsOf("/sys/block/sda/size"), "1\n");
    EXPECT_EQ(contentsOf("/sys/block/hdb/size"), "2\n");
    EXPECT_EQ(contentsOf("/sys/block/md0/size"), "9 bytes\n");
}

TEST(MachineFile, namesTheLineOfAnError)
{
    EXPECT_EQ(errorOf("file /a\n\nnonsense\n"), "text.machine:3: nothing is called 'nonsense'");
    EXPECT_EQ(errorOf("each i 1\n    file /{j}\n"), "text.machine:2: no variable 'j'");
    EXPECT_EQ(errorOf("template t a\n    file /{a}\nt\n"),
        "text.machine:3: 't' takes 1 arguments, not 0");
    EXPECT_EQ(errorOf("file a\n"), "text.machine:1: 'file' takes an absolute path");
}

TEST(Screen, breaksLinesWhereTheTerminalDoes)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_EQ(screenAfter("abcde\r\nf\r\n", 3), "abc\nde\nf\n");
    EXPECT_EQ(screenAfter("ab日\r\n", 3), "ab\n日\n");
    EXPECT_EQ(screenAfter("abc\r\nd", 3), "abc\nd\n");
}

TEST(Screen, drawsOverARowAndShowsControlCharacters)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_EQ(screenAfter("reading ...\r           \rdone\r\n", 80), "done\n");
    EXPECT_EQ(screenAfter("\x1B[31m\xFF|\r\n", 80), "^[[31m^?|\n");
    EXPECT_EQ(screenAfter("", 80), "");
}
