#include "tests/app/MemoryMachine.h"

#include <utility>

namespace app_test {

namespace {

constexpr char const* KERNEL_FILE = "meminfo";
constexpr char const* TOOL_FILE = "bin/dmidecode";

}

MemoryMachine::MemoryMachine()
{
    kernel("");
    modules("");
}

void MemoryMachine::kernel(std::string const& text)
{
    m_folder.file(KERNEL_FILE, text);
}

void MemoryMachine::hideKernel()
{
    std::filesystem::permissions(m_folder.path() / KERNEL_FILE, std::filesystem::perms::none);
}

void MemoryMachine::modules(std::string const& text)
{
    tool("printf %s '" + text + "'\n");
}

void MemoryMachine::tool(std::string const& script)
{
    auto const path = m_folder.file(TOOL_FILE, "#!/bin/sh\n" + script);
    using std::filesystem::perms;
    std::filesystem::permissions(
        path, perms::owner_all | perms::group_read | perms::others_read | perms::others_exec);
}

Program MemoryMachine::program(std::vector<std::string> arguments) const
{
    Program program(std::move(arguments));
    program.replaced["/proc/meminfo"] = m_folder.path() / KERNEL_FILE;
    program.environment["PATH"] = (m_folder.path() / "bin").string() + ":/usr/bin:/bin";
    return program;
}

}
