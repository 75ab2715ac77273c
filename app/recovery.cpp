#include "app/recovery.h"

#include "app/Session.h"
#include "app/display.h"
#include "app/recovery_text.h"
#include "app/recovery_watch.h"
#include "app/sampling_options.h"

#include <CLI/CLI.hpp>

namespace app {

namespace {

constexpr double SHORTEST_INTERVAL = 0.1;

constexpr char const* WATCH_HELP = "Follow the recovery, looking every SECONDS (1):\n"
                                   "a bar on a terminal, else a line a change;\n"
                                   "waits for one to start; ends when the state is idle\n"
                                   "again, the end of the recovery is written, nothing\n"
                                   "follows a restore that ended with 100 percent, or\n"
                                   "the status file is gone; Ctrl-C: status 130";

Json documentOf(RecoveryAnswer const& answer)
{
    return answer.recovery ? recoveryJson(*answer.recovery) : Json(nullptr);
}

std::string summaryOf(RecoveryAnswer const& answer)
{
    if (!answer.recovery)
        return "none";
    std::string text = phaseText(*answer.recovery);
    if (answer.recovery->percent)
        text += ", " + std::to_string(*answer.recovery->percent) + " %";
    return text;
}

class RecoveryCommand : public Command {
public:
    std::string name() const override { return "recovery"; }

    std::string description() const override
    {
        return "Recovery: how far the restore of this machine has come";
    }

    void addOptions(CLI::App& options, Settings&) override
    {
        options
            .add_option_function<std::string>(
                "--watch",
                [this](std::string const& text) {
                    m_interval = parseSeconds(text.empty() ? "1" : text, SHORTEST_INTERVAL);
                    if (!m_interval)
                        throw CLI::ValidationError(
                            "--watch", "'" + text + "' is no number of seconds from 0.1 to 86400");
                },
                WATCH_HELP)
            ->expected(0, 1)
            ->type_name("[SECONDS]")
            ->group("Recovery");
    }

    ExitStatus run(Session& session) override
    {
        if (m_interval)
            return watchRecovery(session, *m_interval);
        RecoveryAnswer answer;
        if (!readRecovery(session, answer))
            return EXIT_STATUS_QUERY_FAILED;
        if (session.settings().json)
            session.print(jsonText({{"recovery", documentOf(answer)}}));
        else
            session.print(answer.recovery ? recoveryTable(*answer.recovery)
                                          : std::string(NO_RECOVERY) + "\n");
        return answer.recovery ? EXIT_STATUS_OK : EXIT_STATUS_NO_RECOVERY;
    }

    ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) override
    {
        RecoveryAnswer answer;
        bool const known = readRecovery(session, answer);
        lines.push_back({"Recovery", known ? summaryOf(answer) : "could not be read"});
        return known ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, Json& document) override
    {
        RecoveryAnswer answer;
        bool const known = readRecovery(session, answer);
        document["recovery"] = documentOf(answer);
        return known ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

private:
    std::optional<std::chrono::steady_clock::duration> m_interval; // Where it is to be followed.
};

}

std::unique_ptr<Command> makeRecoveryCommand()
{
    return std::make_unique<RecoveryCommand>();
}

}
