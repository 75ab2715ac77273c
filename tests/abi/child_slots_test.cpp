#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <ios>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

// Hosts call children through the abstract classes and may derive their own from them.

namespace {

/** A different argument for each function keeps the compiler from merging them. */
[[noreturn]] void neverCalled(char const* operation)
{
    throw std::logic_error(operation);
}

}

// Not in the unnamed namespace: the tests compare their names.

struct HostPipe : Pipe {
    int read(char* /*buf*/, unsigned /*len*/) override { neverCalled("read"); }
    int write(char const* /*buf*/, unsigned /*len*/) override { neverCalled("write"); }
};

struct HostCommand : Command {
    int uncachedExitCode() override { neverCalled("exit code"); }
    Pipe& stdInOut() override { neverCalled("output"); }
    Pipe& stdErr() override { neverCalled("error output"); }
};

namespace {

TEST(ChildSlots, ofPipeAreInOrder)
{
    HostPipe const host;
    expectTable(&host,
        singleTable("8HostPipe",
            {"_ZN8HostPipeD1Ev", "_ZN8HostPipeD0Ev", "_ZN8HostPipe4readEPcj",
                "_ZN8HostPipe5writeEPKcj"}));
    dovrel::UnixPipe const pipe;
    expectTable(&pipe,
        singleTable("N6dovrel8UnixPipeE",
            {"_ZN6dovrel8UnixPipeD1Ev", "_ZN6dovrel8UnixPipeD0Ev", "_ZN6dovrel8UnixPipe4readEPcj",
                "_ZN6dovrel8UnixPipe5writeEPKcj"}));
}

TEST(ChildSlots, ofCommandAreInOrder)
{
    HostCommand const host;
    expectTable(&host,
        singleTable("11HostCommand",
            {"_ZN11HostCommand16uncachedExitCodeEv", "_ZN11HostCommandD1Ev", "_ZN11HostCommandD0Ev",
                "_ZN11HostCommand8stdInOutEv", "_ZN11HostCommand6stdErrEv"}));
    dovrel::UnixCommand const command("exit 0");
    std::string const name = "N6dovrel11UnixCommand";
    expectTable(&command,
        singleTable(name + 'E',
            {"_Z" + name + "16uncachedExitCodeEv", "_Z" + name + "D1Ev", "_Z" + name + "D0Ev",
                "_Z" + name + "8stdInOutEv", "_Z" + name + "6stdErrEv"}));
}

TEST(ChildSlots, ofProcessExceptionAreInOrder)
{
    dovrel::ProcessException const exception(dovrel::REASON_PIPE, 0);
    std::string const name = "N6dovrel16ProcessException";
    expectTable(&exception,
        singleTable(name + 'E',
            {"_Z" + name + "D1Ev", "_Z" + name + "D0Ev", "_ZNK6dovrel16ProcessException4whatEv"}));
}

TEST(ChildSlots, ofPipestreambufAreInOrder)
{
    HostCommand command;
    HostPipe pipe;
    pipestreambuf const buffer(command, pipe, std::ios_base::openmode());
    // An offset is `long long` on i386 and `long` on amd64.
    std::string const offset = typeid(std::streamoff).name();
    expectTable(&buffer,
        singleTable("13pipestreambuf",
            {"_ZN13pipestreambufD1Ev", "_ZN13pipestreambufD0Ev", NO_SYMBOL, NO_SYMBOL,
                "_ZN13pipestreambuf7seekoffE" + offset + "St12_Ios_SeekdirSt13_Ios_Openmode",
                NO_SYMBOL, "_ZN13pipestreambuf4syncEv", NO_SYMBOL, NO_SYMBOL,
                "_ZN13pipestreambuf9underflowEv", NO_SYMBOL, NO_SYMBOL, NO_SYMBOL,
                "_ZN13pipestreambuf8overflowEi"}));
}

}
