#include "tests/machines/build_entry.h"

#include "app/recording/answer_line.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemFailure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>

namespace machines {

namespace {

using testkit::machine;

/** The lines of a machine file that answer calls; the preloaded object reads them. */
constexpr char const* CALLS[] = {"adapter", "address", "hostname", "hypervisor", "processors",
    "sector", "statvfs", "time", "uname"};

struct Entry {
    std::string const& text;
    std::vector<std::string> words;
    std::vector<std::string> const& body;

    std::string const& path() const
    {
        if (words.size() < 2 || !words[1].starts_with('/'))
            throw std::runtime_error("'" + words.front() + "' takes an absolute path");
        return words[1];
    }
};

std::string joined(std::vector<std::string> const& lines)
{
    std::string text;
    for (std::string const& line : lines)
        text += line + "\n";
    return text;
}

/** The rest of a line behind its first words and the blank after them. */
std::string restBehind(Entry const& entry, std::string const& lastWord)
{
    auto const start = entry.text.find(lastWord) + lastWord.size();
    return start < entry.text.size() ? entry.text.substr(start + 1) : std::string();
}

void appendLine(std::string const& path, std::string const& line)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::app | std::ios::binary);
    if (!(file << line << '\n' << std::flush))
        testkit::fail("append", path);
}

void buildFile(Entry const& entry)
{
    bool const isShort = entry.words.size() > 2 && entry.words[2] == "=";
    machine.file(
        entry.path(), isShort ? restBehind(entry, entry.path() + " =") + "\n" : joined(entry.body));
}

void buildLine(Entry const& entry)
{
    appendLine(entry.path(), restBehind(entry, entry.path()));
}

void buildFiles(Entry const& entry)
{
    machine.folder(entry.path());
    for (std::string const& line : entry.body) {
        constexpr std::string_view SIGN = " = ";
        auto const sign = line.find(SIGN);
        if (sign == std::string::npos)
            throw std::runtime_error("no ' = ' in: " + line);
        machine.file(
            entry.path() + "/" + line.substr(0, sign), line.substr(sign + SIGN.size()) + "\n");
    }
}

void buildBytes(Entry const& entry)
{
    std::string bytes;
    for (std::string const& line : entry.body)
        for (std::string const& word : app::wordsOfLine(line))
            bytes += static_cast<char>(std::stoul(word, nullptr, 16));
    machine.file(entry.path(), bytes);
}

void buildLink(Entry const& entry)
{
    std::filesystem::path target = entry.words.at(2);
    // As sysfs has it. Other links are what they are.
    if (entry.path().starts_with("/sys/") && target.is_absolute())
        target = target.lexically_relative(std::filesystem::path(entry.path()).parent_path());
    std::filesystem::remove(entry.path());
    machine.link(entry.path(), target);
}

void buildFifo(Entry const& entry)
{
    std::filesystem::create_directories(std::filesystem::path(entry.path()).parent_path());
    if (::mkfifo(entry.path().c_str(), 0644) != 0)
        testkit::fail("mkfifo", entry.path());
}

void buildMode(Entry const& entry)
{
    constexpr int OCTAL = 8;
    auto const mode = static_cast<mode_t>(std::stoul(entry.words.at(2), nullptr, OCTAL));
    if (::chmod(entry.path().c_str(), mode) != 0)
        testkit::fail("chmod", entry.path());
}

/** A line "hang" in a script waits as long as the machine runs. It starts no process for that. */
void buildTool(Entry const& entry)
{
    std::string script;
    for (std::string const& line : entry.body)
        script +=
            line == "hang" ? std::string("read -r never <") + RUNNING_FIFO + "\n" : line + "\n";
    machine.tool(entry.path(), script);
}

void buildPrints(Entry const& entry)
{
    std::string const output =
        "/testkit/output/" + std::filesystem::path(entry.path()).filename().string();
    machine.file(output, joined(entry.body));
    machine.tool(entry.path(), "exec cat " + output);
}

std::map<std::string, void (*)(Entry const&)> const& builders()
{
    static std::map<std::string, void (*)(Entry const&)> const builders = {
        {"file", buildFile},
        {"line", buildLine},
        {"files", buildFiles},
        {"bytes", buildBytes},
        {"link", buildLink},
        {"fifo", buildFifo},
        {"mode", buildMode},
        {"tool", buildTool},
        {"prints", buildPrints},
        {"folder", [](Entry const& entry) { machine.folder(entry.path()); }},
        {"remove", [](Entry const& entry) { machine.remove(entry.path()); }},
    };
    return builders;
}

}

void buildEntry(std::string const& text, std::vector<std::string> const& body)
{
    Entry const entry{text, app::wordsOfLine(text), body};
    std::string const& keyword = entry.words.front();
    if (auto const builder = builders().find(keyword); builder != builders().end()) {
        builder->second(entry);
        return;
    }
    for (char const* const call : CALLS)
        if (keyword == call) {
            appendLine(ANSWERS_FILE, text);
            return;
        }
    throw std::runtime_error("nothing is called '" + keyword + "'");
}

}
