#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <ios>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

// Hosts call children through the abstract classes and may bring children of their own.

namespace {

/** Different at each place, so that the compiler cannot make one function of several. */
[[noreturn]] void neverCalled(char const* operation)
{
    throw std::logic_error(operation);
}

}

// Not in the unnamed namespace: their names are compared.

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

/** The table of a class without second bases: @p operations by their mangled names. */
template <class Object>
void expectTable(Object const& object, std::string const& name, std::vector<std::string> operations)
{
    operations.insert(operations.begin(), {"offset 0", "_ZTI" + name});
    EXPECT_EQ(vtableOf(&object, operations), operations);
}

TEST(ChildSlots, ofPipeAreInOrder)
{
    HostPipe const host;
    expectTable(host, "8HostPipe",
        {"_ZN8HostPipeD1Ev", "_ZN8HostPipeD0Ev", "_ZN8HostPipe4readEPcj",
            "_ZN8HostPipe5writeEPKcj"});
    dovrel::UnixPipe const pipe;
    expectTable(pipe, "N6dovrel8UnixPipeE",
        {"_ZN6dovrel8UnixPipeD1Ev", "_ZN6dovrel8UnixPipeD0Ev", "_ZN6dovrel8UnixPipe4readEPcj",
            "_ZN6dovrel8UnixPipe5writeEPKcj"});
}

TEST(ChildSlots, ofCommandAreInOrder)
{
    HostCommand const host;
    expectTable(host, "11HostCommand",
        {"_ZN11HostCommand16uncachedExitCodeEv", "_ZN11HostCommandD1Ev", "_ZN11HostCommandD0Ev",
            "_ZN11HostCommand8stdInOutEv", "_ZN11HostCommand6stdErrEv"});
    dovrel::UnixCommand const command("exit 0");
    std::string const name = "N6dovrel11UnixCommand";
    expectTable(command, name + 'E',
        {"_Z" + name + "16uncachedExitCodeEv", "_Z" + name + "D1Ev", "_Z" + name + "D0Ev",
            "_Z" + name + "8stdInOutEv", "_Z" + name + "6stdErrEv"});
}

TEST(ChildSlots, ofProcessExceptionAreInOrder)
{
    dovrel::ProcessException const exception(dovrel::REASON_PIPE, 0);
    std::string const name = "N6dovrel16ProcessException";
    expectTable(exception, name + 'E',
        {"_Z" + name + "D1Ev", "_Z" + name + "D0Ev", "_ZNK6dovrel16ProcessException4whatEv"});
}

TEST(ChildSlots, ofPipestreambufAreInOrder)
{
    HostCommand command;
    HostPipe pipe;
    pipestreambuf const buffer(command, pipe, std::ios_base::openmode());
    // The C++ library's file as systems ship it has no names for what it keeps to itself.
    std::string const standard = "unknown";
    // An offset is `long long` on i386 and `long` on amd64.
    std::string const offset = typeid(std::streamoff).name();
    expectTable(buffer, "13pipestreambuf",
        {"_ZN13pipestreambufD1Ev", "_ZN13pipestreambufD0Ev", standard, standard,
            "_ZN13pipestreambuf7seekoffE" + offset + "St12_Ios_SeekdirSt13_Ios_Openmode", standard,
            "_ZN13pipestreambuf4syncEv", standard, standard, "_ZN13pipestreambuf9underflowEv",
            standard, standard, standard, "_ZN13pipestreambuf8overflowEi"});
}

}
