#include "app/ProgressLine.h"

#include "app/write/standard_streams.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace app {

namespace {

using std::chrono::steady_clock;

constexpr auto SHOWN_AFTER = std::chrono::milliseconds(1500);

/** Blanks in place of an escape sequence: every terminal understands them. */
void drawLine(std::string const& text, size_t over)
{
    std::string const rest(over > text.size() ? over - text.size() : 0, ' ');
    (void)writeWhole(STDERR_FILENO, "\r" + text + rest + (text.empty() ? "\r" : ""));
}

/** Waits for a packet. @return whether there is one, or the end of the texts, before @p deadline.
 */
bool arrivesBefore(steady_clock::time_point deadline, int texts)
{
    for (;;) {
        auto const left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
        pollfd readable = {texts, POLLIN, 0};
        int const ready = left.count() > 0 ? poll(&readable, 1, static_cast<int>(left.count())) : 0;
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}

/** @return the next text; empty at the end. */
std::string nextText(int texts)
{
    std::array<char, 256> packet;
    for (;;) {
        ssize_t const size = recv(texts, packet.data(), packet.size(), 0);
        if (size >= 0 || errno != EINTR)
            return {packet.data(), size > 0 ? static_cast<size_t>(size) : 0};
    }
}

}

ProgressLine::ProgressLine(bool wanted)
{
    std::array<int, 2> ends;
    if (!wanted || isatty(STDERR_FILENO) != 1
        || socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return;
    m_child = fork();
    if (m_child == 0) {
        close(ends[0]);
        draw(ends[1]);
    }
    close(ends[1]);
    m_texts = ends[0];
}

ProgressLine::~ProgressLine()
{
    if (m_texts < 0)
        return;
    // Unlike close(2) it reaches the child while other children have the socket open.
    shutdown(m_texts, SHUT_RDWR);
    close(m_texts);
    while (m_child > 0 && waitpid(m_child, nullptr, 0) < 0 && errno == EINTR) { }
}

void ProgressLine::show(std::string const& text)
{
    if (m_texts >= 0)
        (void)send(m_texts, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void ProgressLine::draw(int texts)
{
    auto const shown = steady_clock::now() + SHOWN_AFTER;
    std::string text;
    while (arrivesBefore(shown, texts)) {
        text = nextText(texts);
        if (text.empty())
            _exit(0);
    }
    if (text.empty())
        text = nextText(texts);
    size_t drawn = 0;
    for (; !text.empty(); text = nextText(texts)) {
        // Its letters are ASCII. Some terminals go on to the next line behind the last column.
        text.resize(std::min(text.size(), terminalColumns(STDERR_FILENO) - 1));
        drawLine(text, drawn);
        drawn = text.size();
    }
    if (drawn > 0)
        drawLine("", drawn);
    _exit(0);
}

}
