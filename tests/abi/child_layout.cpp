#include "tests/abi/layout.h"
#include "tests/abi/object_bytes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace layout {

namespace {

void expectSocket(int fd)
{
    struct stat status { };
    EXPECT_EQ(::fstat(fd, &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode)) << fd;
}

}

void expectProcessException(ProcessExceptionFields const& offsets)
{
    errno = 24;
    dovrel::ProcessException const exception(dovrel::REASON_PIPE, 214);
    EXPECT_EQ(fieldAt<uint32_t>(exception, offsets.reason), 1U);
    EXPECT_EQ(fieldAt<int>(exception, offsets.code), 24);
    EXPECT_EQ(partAt<std::string>(exception, offsets.message), exception.what());
    EXPECT_EQ(fieldAt<unsigned>(exception, offsets.line), 214U);
}

void expectUnixCommand(UnixCommandFields const& offsets)
{
    std::string const text = "exit 7 # longer than a string that needs no block";
    dovrel::UnixCommand command(text);
    EXPECT_NE(fieldAt<int>(command, offsets.slave), -1) << "the child's terminal keeps its number";
    int const master = fieldAt<int>(command, offsets.master);
    char name[64];
    EXPECT_EQ(::ptsname_r(master, name, sizeof name), 0);
    EXPECT_EQ(::fcntl(fieldAt<int>(command, offsets.errors), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(partAt<std::string>(command, offsets.command), text);
    EXPECT_GT(fieldAt<int>(command, offsets.pid), 1);
    EXPECT_EQ(offsetOf(command.stdInOut(), command), offsets.stdInOut);
    EXPECT_EQ(offsetOf(command.stdErr(), command), offsets.stdErr);
    EXPECT_EQ(fieldAt<int>(command, offsets.stdInOut + sizeof(void*)), master);
    expectSocket(fieldAt<int>(command, offsets.status));
    expectSocket(fieldAt<int>(command, offsets.status + sizeof(int)));

    EXPECT_FALSE(fieldAt<bool>(command, sizeof(void*)));
    EXPECT_EQ(command.exitCode(5000, 5), 7);
    EXPECT_TRUE(fieldAt<bool>(command, sizeof(void*)));
    EXPECT_EQ(fieldAt<int>(command, sizeof(void*) + sizeof(int)), 7);

    command.destroy();
    std::vector<size_t> const closed{offsets.slave, offsets.master, offsets.errors,
        offsets.errors + sizeof(int), offsets.status, offsets.status + sizeof(int)};
    for (size_t const offset : closed)
        EXPECT_EQ(fieldAt<int>(command, offset), -1) << offset;
}

void expectPipestreambuf(PipestreambufFields const& offsets)
{
    dovrel::UnixCommand command("exit 0");
    pipestreambuf buffer(command, command.stdErr(), std::ios_base::openmode());
    EXPECT_EQ(fieldAt<Command const*>(buffer, offsets.command), &command);
    EXPECT_EQ(fieldAt<Pipe const*>(buffer, offsets.pipe), &command.stdErr());
    EXPECT_EQ(partAt<std::vector<char>>(buffer, offsets.output), std::vector<char>(256));
    EXPECT_EQ(partAt<std::vector<char>>(buffer, offsets.input), std::vector<char>(256));
    EXPECT_EQ(fieldAt<unsigned>(buffer, offsets.putBack), 128U);
    EXPECT_EQ(fieldAt<unsigned>(buffer, offsets.timeout), 100U);
    buffer.setTimeout(4711);
    EXPECT_EQ(fieldAt<unsigned>(buffer, offsets.timeout), 4711U);
}

void expectPstream(PstreamFields const& offsets)
{
    Pstream stream("exit 0");
    EXPECT_EQ(offsetOf(stream.command(), stream), offsets.command);
    EXPECT_EQ(offsetOf(stream.outBuf(), stream), offsets.output);
    EXPECT_EQ(offsetOf(stream.errBuf(), stream), offsets.errors);
    EXPECT_EQ(offsetOf(stream.err(), stream), offsets.errorStream);
}

}
