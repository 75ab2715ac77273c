#include "app/read/memory_modules.h"

#include "app/read/kernel_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace app {

namespace {

constexpr int COMMAND_NOT_FOUND = 127; // sh(1)
constexpr int COMMAND_NOT_EXECUTABLE = 126;

/** "16 GB" in bytes. The unit is 1,024 times the smaller one, whatever dmidecode calls it. */
std::optional<uint64_t> sizeOf(std::string const& text)
{
    auto const words = wordsOf(text);
    auto const number = words.empty() ? std::nullopt : numberOf(words[0]);
    if (!number || words.size() != 2)
        return text == "No Module Installed" ? std::optional<uint64_t>(0) : std::nullopt;
    // Version 3.7 has "kiB", earlier ones "kB".
    std::string const unit = words[1] == "bytes" ? " " : words[1].substr(0, 1);
    size_t const power = std::string(" kMGT").find(unit == "K" ? "k" : unit);
    if (power == std::string::npos)
        return std::nullopt;
    uint64_t const factor = uint64_t{1} << (10 * power);
    return *number <= std::numeric_limits<uint64_t>::max() / factor
        ? std::optional(*number * factor)
        : std::nullopt;
}

/** @return nothing for the firmware's words for an unknown value. */
std::optional<std::string> meaningful(std::string const& text)
{
    for (char const* const nothing :
        {"", "Unknown", "None", "Not Specified", "<OUT OF SPEC>", "No Module Installed"})
        if (text == nothing)
            return std::nullopt;
    return text;
}

/** A module with the bank that its slot is in. */
struct Device {
    MemoryModule module;
    std::string bank;
};

void setField(Device& device, std::string const& name, std::string const& value)
{
    MemoryModule& module = device.module;
    if (name == "Size")
        module.bytes = sizeOf(value);
    else if (name == "Locator")
        module.slot = value;
    else if (name == "Bank Locator")
        device.bank = value;
    else if (name == "Type")
        module.type = meaningful(value);
    else if (name == "Speed")
        module.speed = meaningful(value);
}

/** A pipe in place of this process's standard error. Neither end blocks: what it has no room for is
 * lost. */
class ErrorPipe {
public:
    ErrorPipe()
    {
        int ends[2];
        if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0)
            return;
        m_reader = ends[0];
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
    }
    ErrorPipe(ErrorPipe const&) = delete;
    ErrorPipe& operator=(ErrorPipe const&) = delete;
    ~ErrorPipe()
    {
        if (m_reader >= 0)
            close(m_reader);
    }

    /** @return the first line that was written, in printable characters; empty where none was. */
    std::string firstLine() const
    {
        constexpr size_t LONGEST = 120;
        std::array<char, 4096> bytes;
        ssize_t const count = m_reader >= 0 ? read(m_reader, bytes.data(), bytes.size()) : -1;
        std::string const text =
            trimmed(std::string(bytes.data(), count > 0 ? static_cast<size_t>(count) : 0));
        std::string line = trimmed(text.substr(0, text.find('\n')));
        for (char& c : line)
            if (c < ' ' || c > '~')
                c = '?';
        return line.size() <= LONGEST ? line : line.substr(0, LONGEST) + "...";
    }

private:
    int m_reader = -1;
};

/** @return the exit status of the tool in the first line, the first line of its errors in the
 * second, its output behind them. */
std::string runTool()
{
    ErrorPipe const errors;
    // The path of a user who became root with su(1) may lack the system's folders.
    std::FILE* const tool = popen(
        "PATH=$PATH:/usr/sbin:/sbin LC_ALL=C; export PATH LC_ALL; exec dmidecode -t 17", "re");
    if (!tool)
        return {};
    std::string output;
    std::array<char, 4096> piece;
    for (size_t count = 0; (count = std::fread(piece.data(), 1, piece.size(), tool)) > 0;)
        output.append(piece.data(), count);
    int const status = pclose(tool);
    return std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + "\n" + errors.firstLine()
        + "\n" + output;
}

}

std::vector<MemoryModule> parseModules(std::string const& text)
{
    std::vector<Device> devices;
    bool inside = false;
    for (std::string const& line : linesOf(text)) {
        std::string const content = trimmed(line);
        // dmidecode 2.2 indents the headings too.
        if (content == "Memory Device") {
            devices.emplace_back();
            inside = true;
        } else if (content.empty() || content.rfind("Handle ", 0) == 0) {
            inside = false;
        } else if (size_t const colon = content.find(':'); inside && colon != std::string::npos) {
            setField(devices.back(), content.substr(0, colon), trimmed(content.substr(colon + 1)));
        }
    }
    std::map<std::string, unsigned> uses;
    for (Device const& device : devices)
        ++uses[device.module.slot];
    std::vector<MemoryModule> modules;
    for (Device& device : devices) {
        if (uses[device.module.slot] > 1 && !device.bank.empty())
            device.module.slot = device.bank + " " + device.module.slot;
        modules.push_back(std::move(device.module));
    }
    return modules;
}

ModuleQuery::ModuleQuery(std::chrono::steady_clock::duration limit)
    : m_deadline(std::chrono::steady_clock::now() + limit)
{
    if (geteuid() == 0)
        m_child.emplace(runTool, true);
}

void ModuleQuery::finish(Machine& machine)
{
    std::string reason = "dmidecode needs root";
    if (m_child) {
        TimedChild::Result const result = m_child->wait(m_deadline);
        auto lines = linesOf(result.bytes);
        lines.resize(std::max(lines.size(), size_t{2}));
        auto const status = numberOf(lines[0]);
        std::string const failure = "dmidecode failed" + (lines[1].empty() ? "" : ": " + lines[1]);
        auto modules = parseModules(result.bytes);
        if (!modules.empty()) {
            if (machine.memory)
                machine.memory->modules = std::move(modules);
            if (status != uint64_t{0})
                machine.unavailable.push_back({Subject::MEMORY,
                    "whether these are all memory modules", failure, "dmidecode"});
            return;
        }
        if (result.end == TimedChild::NOT_STARTED)
            reason = std::string("dmidecode cannot be started: ") + std::strerror(result.error);
        else if (result.end == TimedChild::NOT_ENDED)
            reason = "dmidecode did not end in time";
        else if (result.end == TimedChild::CRASHED || result.bytes.empty())
            reason = "no shell can be started for dmidecode";
        else if (status == uint64_t{COMMAND_NOT_FOUND})
            reason = "dmidecode is not installed";
        else if (status == uint64_t{COMMAND_NOT_EXECUTABLE})
            reason = "dmidecode cannot be executed";
        else if (result.bytes.find("No SMBIOS nor DMI entry point") != std::string::npos)
            reason = "the firmware has no table of them";
        else if (status != uint64_t{0})
            reason = failure;
        else if (result.bytes.find("# dmidecode") == std::string::npos)
            reason = "dmidecode printed none";
        else
            reason = "the firmware lists none";
    }
    machine.unavailable.push_back({Subject::MEMORY, "the memory modules", reason, "dmidecode"});
}

}
