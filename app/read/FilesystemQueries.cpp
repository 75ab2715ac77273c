#include "app/read/FilesystemQueries.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <set>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t FIRST_WORKERS = 8;
constexpr size_t MOST_WORKERS = 64;
constexpr auto LOOK_INTERVAL = std::chrono::milliseconds(20);

/** The states of a query. The process number of a worker says that it has called statvfs(3). */
enum : pid_t { WAITING = 0, DONE = -1, KILLED = -2, GIVEN_UP = -3, NOT_STARTED = -4 };

}

struct FilesystemQueries::Query {
    std::atomic<pid_t> state;
    int error; ///< An errno; 0 where there is a status.
    struct statvfs status;

    bool changeState(pid_t from, pid_t to) { return state.compare_exchange_strong(from, to); }
};

/** In a process of its own: starts the workers, and replaces those that are held up. */
class FilesystemQueries::Supervisor {
public:
    Supervisor(std::vector<std::string> const& paths, Query* queries, Clock::duration patience)
        : m_paths(paths), m_queries(queries), m_patience(patience), m_seen(paths.size())
    {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGCHLD);
        sigprocmask(SIG_BLOCK, &m_signals, nullptr);
    }

    void run()
    {
        for (;;) {
            size_t const waiting = countWaiting();
            if (waiting == 0 && m_workers.empty())
                return;
            // More at each look: where paths still wait, filesystems are slow or hang.
            startWorkers(std::min({waiting, std::max(m_workers.size(), FIRST_WORKERS),
                MOST_WORKERS - m_workers.size()}));
            if (waiting > 0 && m_workers.size() == MOST_WORKERS)
                giveUp();
            auto const interval = std::chrono::nanoseconds(LOOK_INTERVAL).count();
            timespec const time = {0, static_cast<decltype(timespec::tv_nsec)>(interval)};
            sigtimedwait(&m_signals, nullptr, &time);
            reapWorkers();
        }
    }

private:
    size_t countWaiting() const
    {
        return static_cast<size_t>(std::count_if(m_queries, m_queries + m_paths.size(),
            [](Query const& query) { return query.state == WAITING; }));
    }

    void startWorkers(size_t count)
    {
        for (size_t i = 0; i < count; ++i) {
            pid_t const supervisor = getpid();
            pid_t const worker = fork();
            if (worker == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                if (getppid() == supervisor)
                    work();
                _exit(0);
            }
            if (worker < 0) {
                if (m_workers.empty())
                    endAll(WAITING, NOT_STARTED, errno);
                return;
            }
            m_workers.insert(worker);
        }
    }

    void work()
    {
        pid_t const self = getpid();
        for (size_t i = 0; i < m_paths.size(); ++i) {
            Query& query = m_queries[i];
            if (!query.changeState(WAITING, self))
                continue;
            int result = -1;
            do
                result = statvfs(m_paths[i].c_str(), &query.status);
            while (result != 0 && errno == EINTR);
            query.error = result == 0 ? 0 : errno;
            if (!query.changeState(self, DONE))
                return;
        }
    }

    void endAll(pid_t from, pid_t to, int error)
    {
        for (size_t i = 0; i < m_paths.size(); ++i)
            if (m_queries[i].state == from) {
                m_queries[i].error = error;
                m_queries[i].changeState(from, to);
            }
    }

    /** Kills the workers that have waited for long. */
    void giveUp()
    {
        auto const now = Clock::now();
        for (size_t i = 0; i < m_paths.size(); ++i) {
            pid_t const worker = m_queries[i].state;
            if (worker <= 0)
                continue;
            if (!m_seen[i])
                m_seen[i] = now;
            else if (now - *m_seen[i] >= m_patience && m_queries[i].changeState(worker, GIVEN_UP))
                kill(worker, SIGKILL);
        }
    }

    void reapWorkers()
    {
        for (pid_t worker = 0; (worker = waitpid(-1, nullptr, WNOHANG)) > 0;) {
            m_workers.erase(worker);
            endAll(worker, KILLED, 0);
        }
    }

    std::vector<std::string> const& m_paths;
    Query* const m_queries;
    Clock::duration const m_patience;
    std::vector<std::optional<Clock::time_point>> m_seen; // When a look first saw it running.
    std::set<pid_t> m_workers;
    sigset_t m_signals;
};

namespace {

/** @return why a query has no status. */
std::string reasonOf(pid_t state, int error, TimedChild::Result const& supervisor)
{
    if (state == NOT_STARTED || supervisor.end == TimedChild::NOT_STARTED)
        return std::string("no process can be started for it: ")
            + std::strerror(state == NOT_STARTED ? error : supervisor.error);
    if (state == KILLED || (state != GIVEN_UP && supervisor.end != TimedChild::NOT_ENDED))
        return "the process that queried the filesystem was killed";
    return state == WAITING ? "too many other filesystems did not respond in time"
                            : "the filesystem did not respond in time";
}

}

FilesystemQueries::FilesystemQueries(std::vector<std::string> const& paths, Clock::duration limit)
    : m_deadline(Clock::now() + limit), m_count(paths.size())
{
    if (m_count == 0)
        return;
    void* const memory = mmap(nullptr, m_count * sizeof(Query), PROT_READ | PROT_WRITE,
        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        m_error = errno;
        return;
    }
    m_queries = static_cast<Query*>(memory);
    std::uninitialized_value_construct_n(m_queries, m_count);
    auto const work = [&] {
        constexpr int PARTS = 10;
        Supervisor(paths, m_queries, limit / PARTS).run();
        return std::string();
    };
    m_supervisor.emplace(work, true);
}

FilesystemQueries::~FilesystemQueries()
{
    if (m_queries)
        munmap(m_queries, m_count * sizeof(Query));
}

std::vector<FilesystemQueries::Result> FilesystemQueries::finish()
{
    TimedChild::Result const supervisor = m_supervisor
        ? m_supervisor->wait(m_deadline)
        : TimedChild::Result{TimedChild::NOT_STARTED, {}, m_error};
    std::vector<Result> results(m_count);
    for (size_t i = 0; i < m_count; ++i) {
        pid_t const state = m_queries ? m_queries[i].state.load() : pid_t{WAITING};
        if (state != DONE)
            results[i].problem = reasonOf(state, m_queries ? m_queries[i].error : 0, supervisor);
        else if (m_queries[i].error != 0)
            results[i].problem = std::strerror(m_queries[i].error);
        else
            results[i].status = m_queries[i].status;
    }
    return results;
}

}
