#include "app/OutputFile.h"

#include "app/watch/StopSignals.h"
#include "app/write/standard_streams.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace app {

namespace {

/** A new file in the folder, which disappears unless it replaces another. */
class TemporaryFile {
public:
    explicit TemporaryFile(int folder) : m_folder(folder) { }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    ~TemporaryFile()
    {
        if (!m_name.empty())
            unlinkat(m_folder, m_name.c_str(), 0);
        if (m_file >= 0)
            close(m_file);
    }

    /** Creates a file without a name. @return 0 or the errno, as all functions here. */
    int createUnnamed()
    {
        m_file = openat(m_folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
        return m_file >= 0 ? 0 : errno;
    }

    int createNamed()
    {
        return underNewName([this](char const* name) {
            m_file = openat(m_folder, name, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
            return m_file >= 0;
        });
    }

    int fill(std::string const& text, unsigned mode) const
    {
        if (int const error = writeWhole(m_file, text); error != 0)
            return error;
        return fchmod(m_file, mode) == 0 && fsync(m_file) == 0 ? 0 : errno;
    }

    int replace(std::string const& name)
    {
        // linkat(2) replaces no file.
        if (int const error = m_name.empty()
                ? underNewName([this](char const* newName) { return link(newName); })
                : 0;
            error != 0)
            return error;
        if (renameat(m_folder, m_name.c_str(), m_folder, name.c_str()) != 0)
            return errno;
        m_name.clear();
        return 0;
    }

    /** @return EEXIST where a file of that name exists. */
    int becomeNew(std::string const& name)
    {
        if (m_name.empty())
            return link(name.c_str()) ? 0 : errno;
        if (renameat2(m_folder, m_name.c_str(), m_folder, name.c_str(), RENAME_NOREPLACE) == 0) {
            m_name.clear();
            return 0;
        }
        // Filesystems of the network have no such flag. The first name goes with this object.
        return errno == EINVAL && linkat(m_folder, m_name.c_str(), m_folder, name.c_str(), 0) == 0
            ? 0
            : errno;
    }

private:
    bool link(char const* name) const
    {
        std::string const file = "/proc/self/fd/" + std::to_string(m_file);
        return linkat(AT_FDCWD, file.c_str(), m_folder, name, AT_SYMLINK_FOLLOW) == 0;
    }

    /** Calls @p create with new names until it finds one that is free. */
    template <class Create> int underNewName(Create const& create)
    {
        constexpr int MOST_ATTEMPTS = 100;
        for (int i = 0; i < MOST_ATTEMPTS; ++i) {
            uint64_t number = 0;
            if (getrandom(&number, sizeof(number), 0) != sizeof(number))
                return errno;
            // Not the suffix of the file: agents read every *.prom of a folder.
            std::string const name = ".dovrel-sysinfo-" + std::to_string(number);
            if (create(name.c_str())) {
                m_name = name;
                return 0;
            }
            if (errno != EEXIST)
                return errno;
        }
        return EEXIST;
    }

    int const m_folder;
    int m_file = -1;
    std::string m_name; // Empty while it has none.
};

enum class Kind { UNNAMED, NAMED };

/** @return 0 or the errno. */
int writeFile(int folder, std::string const& name, std::string const& text, unsigned mode,
    OutputFile::Existing existing, Kind kind)
{
    TemporaryFile file(folder);
    if (int const error = kind == Kind::NAMED ? file.createNamed() : file.createUnnamed();
        error != 0)
        return error;
    if (int const error = file.fill(text, mode); error != 0)
        return error;
    return existing == OutputFile::KEPT ? file.becomeNew(name) : file.replace(name);
}

char const* nameOfType(mode_t mode)
{
    return S_ISLNK(mode) ? "symbolic link"
        : S_ISDIR(mode)  ? "folder"
        : S_ISFIFO(mode) ? "FIFO"
        : S_ISSOCK(mode) ? "socket"
                         : "device";
}

}

OutputFile::OutputFile(std::string path, unsigned mode, Existing existing)
    : m_path(std::move(path)), m_mode(mode), m_existing(existing)
{
    size_t const slash = m_path.rfind('/');
    std::string const folder = slash == std::string::npos ? "." : m_path.substr(0, slash + 1);
    m_name = m_path.substr(slash + 1);
    struct stat state { };
    if (lstat(m_path.c_str(), &state) == 0) {
        if (!S_ISREG(state.st_mode))
            fail(std::string("it is a ") + nameOfType(state.st_mode));
        if (existing == KEPT)
            fail("it exists; --force replaces it");
        m_mode &= state.st_mode;
    } else if (m_name.empty()) {
        fail(std::strerror(errno)); // A slash ends the name of a folder only.
    }
    // Checked here so that nobody waits for a reading that cannot be kept.
    if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        fail(std::strerror(errno));
    m_folder = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (m_folder < 0)
        fail(std::strerror(errno));
}

OutputFile::~OutputFile()
{
    close(m_folder);
}

void OutputFile::write(std::string const& text) const
{
    StopSignals const postponed;
    // A limit of the file's size is an error like any other, setrlimit(2).
    std::signal(SIGXFSZ, SIG_IGN);
    // Not every filesystem has files without names, and without /proc they cannot get one.
    int error = writeFile(m_folder, m_name, text, m_mode, m_existing, Kind::UNNAMED);
    if (error != 0 && error != EEXIST)
        error = writeFile(m_folder, m_name, text, m_mode, m_existing, Kind::NAMED);
    if (error != 0)
        fail(std::strerror(error));
}

void OutputFile::fail(std::string const& reason) const
{
    throw OutputFileError("cannot write " + m_path + ": " + reason);
}

}
