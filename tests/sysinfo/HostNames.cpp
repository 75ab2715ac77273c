// A host's global classes with the names of the library's global classes. This host includes none
// of the headers that declare those.

#include "tests/sysinfo/HostNames.h"

#include <ios>
#include <string>
#include <utility>
#include <vector>

namespace {

std::vector<std::string>& hostCalls()
{
    static std::vector<std::string> calls;
    return calls;
}

void called(char const* function)
{
    hostCalls().emplace_back(function);
}

}

// As in a program that exports everything.
#pragma GCC visibility push(default)

class hashedfunction;

class Command {
public:
    Command() = default;
    Command(Command const&) = delete;
    Command& operator=(Command const&) = delete;
    virtual ~Command();
    virtual int uncachedExitCode();
    int exitCode(unsigned totalMs, unsigned stepMs);
};

class Pipe {
public:
    Pipe() = default;
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;
    virtual ~Pipe();
    virtual int read(char* buf, unsigned len);
};

class pipestreambuf {
public:
    pipestreambuf(Command& command, Pipe& pipe, std::ios_base::openmode mode);
    pipestreambuf(pipestreambuf const&) = delete;
    pipestreambuf& operator=(pipestreambuf const&) = delete;
    virtual ~pipestreambuf();
    virtual unsigned setTimeout(unsigned ms);
};

class traceobject {
public:
    traceobject(hashedfunction const*& function, char const* signature);
    traceobject(traceobject const&) = delete;
    traceobject& operator=(traceobject const&) = delete;
    ~traceobject();
};

template <class Char, class Traits = std::char_traits<Char>> class basic_pistream {
public:
    explicit basic_pistream(std::string const& command);
    basic_pistream(basic_pistream const&) = delete;
    basic_pistream& operator=(basic_pistream const&) = delete;
    virtual ~basic_pistream();
};

Command::~Command()
{
    called("Command::~Command");
}

int Command::uncachedExitCode()
{
    called("Command::uncachedExitCode");
    return 0;
}

int Command::exitCode(unsigned, unsigned)
{
    called("Command::exitCode");
    return 0;
}

Pipe::~Pipe()
{
    called("Pipe::~Pipe");
}

int Pipe::read(char*, unsigned)
{
    called("Pipe::read");
    return -1;
}

pipestreambuf::pipestreambuf(Command&, Pipe&, std::ios_base::openmode)
{
    called("pipestreambuf::pipestreambuf");
}

pipestreambuf::~pipestreambuf()
{
    called("pipestreambuf::~pipestreambuf");
}

unsigned pipestreambuf::setTimeout(unsigned)
{
    called("pipestreambuf::setTimeout");
    return 0;
}

traceobject::traceobject(hashedfunction const*&, char const*)
{
    called("traceobject::traceobject");
}

traceobject::~traceobject()
{
    called("traceobject::~traceobject");
}

template <class Char, class Traits>
basic_pistream<Char, Traits>::basic_pistream(std::string const& /*command*/)
{
    called("basic_pistream::basic_pistream");
}

template <class Char, class Traits> basic_pistream<Char, Traits>::~basic_pistream()
{
    called("basic_pistream::~basic_pistream");
}

template class basic_pistream<char>;

#pragma GCC visibility pop

namespace testkit {

std::vector<std::string> takeHostCalls()
{
    return std::exchange(hostCalls(), {});
}

void useHostClasses()
{
    hashedfunction const* function = nullptr;
    traceobject const trace(function, "useHostClasses");
    Command command;
    command.exitCode(0, 0);
    Pipe pipe;
    pipestreambuf buffer(command, pipe, std::ios_base::openmode());
    buffer.setTimeout(0);
    basic_pistream<char> const stream("");
}

}
