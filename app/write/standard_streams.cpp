#include "app/write/standard_streams.h"

#include "app/write/TextTable.h"
#include "app/write/display.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <sstream>
#include <utility>

namespace app {

void occupyStandardDescriptors() noexcept
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1)
            continue;
        // The lowest free number is the one given: this one, since those below are taken by now.
        (void)open("/dev/null", descriptor == STDERR_FILENO ? O_WRONLY : O_RDONLY);
    }
}

int writeWhole(int descriptor, std::string const& text) noexcept
{
    size_t written = 0;
    while (written < text.size()) {
        ssize_t const count = write(descriptor, text.data() + written, text.size() - written);
        if (count >= 0)
            written += static_cast<size_t>(count);
        else if (errno != EINTR)
            return errno;
    }
    return 0;
}

size_t terminalColumns(int descriptor) noexcept
{
    constexpr size_t USUAL = 80;
    winsize size{};
    bool const reported = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return reported ? size.ws_col : USUAL;
}

Layout terminalLayout(int descriptor) noexcept
{
    Layout layout;
    if (isatty(descriptor) == 1)
        layout.columns = terminalColumns(descriptor);
    return layout;
}

std::vector<std::string> messageLines(std::string const& message, Layout const& layout)
{
    std::vector<std::string> all;
    std::istringstream lines("dovrel-sysinfo: " + message);
    for (std::string line; std::getline(lines, line);)
        for (std::string& part : wrapped(printable(line), layout, 0, 2))
            all.push_back(std::move(part));
    return all;
}

void complain(std::string const& message)
{
    std::string text;
    for (std::string const& line : messageLines(message, terminalLayout(STDERR_FILENO)))
        text += line + "\n";
    // Where standard error cannot be written either there is nobody left to tell.
    (void)writeWhole(STDERR_FILENO, text);
}

}
