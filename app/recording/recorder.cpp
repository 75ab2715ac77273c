#include "app/recording/recorder.h"

#include "app/recording/Answers.h"
#include "app/recording/answer_line.h"
#include "app/recording/program_run.h"
#include "app/recording/recorded_log.h"
#include "app/recording/stored_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace app {

namespace {

namespace fs = std::filesystem;

constexpr char const* QUERIES[] = {
    "system", "cpus", "memory", "disks", "mounts", "networks", "recovery"};

#ifdef __i386__
constexpr char const* ARCHITECTURE = "i386";
#else
constexpr char const* ARCHITECTURE = "amd64";
#endif

std::string folderForTemporaryFiles()
{
    char const* const folder = std::getenv("TMPDIR");
    return folder && *folder ? folder : "/tmp";
}

/** Waits a while for the children, and for those of children that have ended. */
void awaitDescendants()
{
    using Clock = std::chrono::steady_clock;
    // One in an uninterruptible call of the kernel ends later.
    auto const enough = Clock::now() + std::chrono::seconds(1);
    pid_t ended = 0;
    while ((ended = waitpid(-1, nullptr, WNOHANG)) >= 0 && Clock::now() < enough)
        if (ended == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

/** A folder that only its owner can read; removed with all in it, after those who write there have
 * ended. */
class PrivateFolder {
public:
    PrivateFolder() : m_path(folderForTemporaryFiles() + "/dovrel-sysinfo-XXXXXX")
    {
        if (!mkdtemp(m_path.data()))
            throw std::system_error(errno, std::generic_category(),
                "cannot make a folder in " + folderForTemporaryFiles());
        prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    }
    PrivateFolder(PrivateFolder const&) = delete;
    PrivateFolder& operator=(PrivateFolder const&) = delete;
    ~PrivateFolder()
    {
        awaitDescendants();
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }

    std::string const& path() const { return m_path; }

private:
    std::string m_path;
};

/** Runs the program until it ends or the recording is stopped. @throws RecordingError then */
ProgramRunResult runUnlessStopped(std::string const& command,
    std::vector<std::pair<std::string, std::string>> const& variables,
    RecorderOptions const& options)
{
    std::string const limit =
        std::to_string(std::chrono::duration<double>(options.toolLimit).count());
    ProgramRunResult result =
        runPreloaded({command, "--json", "--tool-limit", limit}, variables, options.isStopped);
    if (options.isStopped())
        throw RecordingError("the recording was stopped");
    return result;
}

/** The C library reads the time zone by itself, tzset(3): its file becomes /etc/localtime, and a
 * rule without a file an answer. @return the TZ that has the same zone. */
std::string addTimeZone(Recording& recording)
{
    constexpr char const* PLACE = "/etc/localtime";
    char const* const zone = std::getenv("TZ");
    std::string name = zone ? zone : PLACE;
    name.erase(0, name.rfind(':', 0) == 0 ? 1 : 0);
    std::string source = name.rfind('/', 0) == 0 ? name : "/usr/share/zoneinfo/" + name;
    std::error_code error;
    if (!fs::is_regular_file(source, error)
        || fs::file_size(source, error) > Recording::MOST_CONTENT) {
        if (!isTimeZoneRule(name))
            return "UTC0"; // As without the file.
        recording.answers.push_back("zone " + asWord(name));
        return name;
    }
    RecordedFile file;
    file.path = PLACE;
    file.kind = RecordedFile::REGULAR;
    file.mode = 0644;
    file.opened = true;
    file.content = storedText(source);
    file.size = file.content.size();
    file.queries = {"system"};
    recording.files.push_back(std::move(file));
    return source;
}

}

Recording recordMachine(RecorderOptions const& options)
try {
    checkPreloadedObject();
    Recording recording;
    recording.version = options.version;
    recording.architecture = ARCHITECTURE;
    recording.time = std::time(nullptr);
    recording.user = geteuid();
    PrivateFolder const folder;
    fs::create_directory(folder.path() + "/tools");
    std::string const complete = folder.path() + "/complete"; // See preload/stage.h.
    store(complete, "");
    for (char const* const query : QUERIES) {
        options.onQuery(query);
        int const status = runUnlessStopped(
            query, {{"DOVREL_RECORD", folder.path()}, {"DOVREL_QUERY", query}}, options)
                               .status;
        if (!fs::exists(complete))
            throw RecordingError("not all that was read could be kept in "
                + folderForTemporaryFiles() + "; is its filesystem full?");
        if (!WIFEXITED(status))
            throw RecordingError("the query of the " + std::string(query) + " was killed");
        if (!fs::exists(folder.path() + "/log"))
            failToPreload();
    }
    readRecorded(folder.path(), recording);
    std::string const timeZone = addTimeZone(recording);
    std::sort(recording.files.begin(), recording.files.end(),
        [](RecordedFile const& one, RecordedFile const& other) { return one.path < other.path; });
    recording.answers.push_back("time " + std::to_string(recording.time));
    writeAnswers(recording, folder.path());
    options.onQuery("document");
    recording.document =
        runUnlessStopped("all", {{"DOVREL_ANSWER", folder.path()}, {"TZ", timeZone}}, options)
            .output;
    return recording;
} catch (fs::filesystem_error const& error) {
    throw RecordingError(error.path1().string() + ": " + error.code().message());
} catch (std::system_error const& error) {
    throw RecordingError(error.what());
}

}
