#include "app/exit_status.h"
#include "app/write/openmetrics.h"
#include "tests/app/LocaleFor.h"
#include "tests/app/MetricsText.h"
#include "tests/app/Program.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <locale>
#include <sstream>

namespace {

using app::LibraryAnswer;
using app::Machine;
using app::Subject;
using app_test::knownMachine;
using app_test::MetricsText;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::string metricsOf(Machine const& machine)
{
    std::ostringstream out;
    app::writeOpenMetrics(machine, out);
    return out.str();
}

/** The lines of one family's samples. */
std::vector<std::string> samplesOf(Machine const& machine, std::string const& family)
{
    std::string const text = metricsOf(machine);
    EXPECT_NO_THROW(MetricsText{text});
    std::vector<std::string> lines;
    for (std::string const& line : app_test::linesOf(text))
        if (line.starts_with(family + " ") || line.starts_with(family + "{"))
            lines.push_back(line.substr(family.size()));
    return lines;
}

Machine machineWithDisks(std::vector<std::string> const& names)
{
    Machine machine;
    machine.subjects = {Subject::DISKS};
    machine.disks.emplace();
    for (std::string const& name : names)
        machine.disks->push_back(app_test::diskOf(name));
    return machine;
}

std::vector<std::string> sizesOfDisks(std::vector<std::string> const& names)
{
    return samplesOf(machineWithDisks(names), "dovrel_disk_size_bytes");
}

class GroupsOfDigits : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

LibraryAnswer answerOf(std::string const& query, LibraryAnswer::Outcome outcome, double seconds)
{
    LibraryAnswer answer;
    answer.query = query;
    answer.outcome = outcome;
    answer.seconds = seconds;
    return answer;
}

}

TEST(OpenMetrics, describesEachFamilyBeforeItsSamples)
{
    Machine machine = knownMachine({Subject::MEMORY});
    machine.time = 1774346400;
    machine.problems = {app_test::failureOf(Subject::MEMORY)};
    machine.library[Subject::MEMORY] = answerOf("getMemoryInfo", LibraryAnswer::THREW, 0.25);

    EXPECT_EQ(metricsOf(machine),
        R"(# TYPE dovrel_read_timestamp_seconds gauge
# UNIT dovrel_read_timestamp_seconds seconds
# HELP dovrel_read_timestamp_seconds Time of the reading, since 1970.
dovrel_read_timestamp_seconds 1774346400
# TYPE dovrel_problems gauge
# HELP dovrel_problems Number of facts that could not be read.
dovrel_problems{subject="memory"} 1
# TYPE dovrel_query_success gauge
# HELP dovrel_query_success Whether the query of the library succeeded.
dovrel_query_success{query="getMemoryInfo"} 0
# TYPE dovrel_query_duration_seconds gauge
# UNIT dovrel_query_duration_seconds seconds
# HELP dovrel_query_duration_seconds Time that the query of the library took.
dovrel_query_duration_seconds{query="getMemoryInfo"} 0.25
# TYPE dovrel_memory_total_bytes gauge
# UNIT dovrel_memory_total_bytes bytes
# HELP dovrel_memory_total_bytes Memory that the kernel can use.
dovrel_memory_total_bytes 17179869184
# TYPE dovrel_memory_used_bytes gauge
# UNIT dovrel_memory_used_bytes bytes
# HELP dovrel_memory_used_bytes Memory in use, as free(1) counts.
dovrel_memory_used_bytes 12884901888
# TYPE dovrel_memory_available_bytes gauge
# UNIT dovrel_memory_available_bytes bytes
# HELP dovrel_memory_available_bytes Memory for new processes without swapping.
dovrel_memory_available_bytes 4294967296
# TYPE dovrel_swap_total_bytes gauge
# UNIT dovrel_swap_total_bytes bytes
# HELP dovrel_swap_total_bytes Size of the swap space.
dovrel_swap_total_bytes 0
# EOF
)");
}

TEST(OpenMetrics, hasOneSampleForEachKnownFactOfAMachine)
{
    std::string samples;
    for (std::string const& line : app_test::linesOf(metricsOf(knownMachine())))
        if (!line.starts_with("#") && !line.starts_with("dovrel_problems"))
            samples += line + "\n";

    EXPECT_EQ(samples,
        "dovrel_read_timestamp_seconds 0\n"
        R"(dovrel_machine_info{vendor="Acme�[2J",product="Rocket 9000",virtual_machine="none"} 1
dovrel_os_info{host_name="file�server",os="Some Linux 12"} 1
dovrel_uptime_seconds 90061
dovrel_cpu_model_info{model="Acme CPU"} 1
dovrel_cpus 2
dovrel_all_cpus_load_ratio 0.25
dovrel_cpu_info{cpu="0"} 1
dovrel_cpu_info{cpu="1"} 1
dovrel_cpu_load_ratio{cpu="0"} 0.25
dovrel_cpu_current_hertz{cpu="0"} 1200000000
dovrel_cpu_highest_hertz{cpu="1"} 10400000000
dovrel_memory_total_bytes 17179869184
dovrel_memory_used_bytes 12884901888
dovrel_memory_available_bytes 4294967296
dovrel_swap_total_bytes 0
dovrel_disk_info{device="sda",label="sda",type="disk",kind="hdd",model="MODEL_1",number="8:0"} 1
dovrel_disk_info{device="sda1",label="sda1",type="part",parent="sda",number="8:0"} 1
dovrel_disk_info{device="sd�[2Jb",label="sd�[2Jb",type="disk",kind="hdd",model="EVIL���",number="8:0"} 1
dovrel_disk_size_bytes{device="sda"} 1099511627776
dovrel_disk_size_bytes{device="sda1"} 1099511627776
dovrel_disk_partitions{device="sda"} 1
dovrel_disk_partitions{device="sda1"} 0
dovrel_disk_partitions{device="sd�[2Jb"} 0
dovrel_filesystem_info{mountpoint="/",fstype="ext4",source="/dev/sda1",device="sda1",network="false"} 1
dovrel_filesystem_info{mountpoint="/odd�[2J",fstype="ext4",source="/dev/sda1",device="sda1",network="false"} 1
dovrel_filesystem_disk_info{mountpoint="/",fstype="ext4",source="/dev/sda1",device="sda"} 1
dovrel_filesystem_disk_info{mountpoint="/odd�[2J",fstype="ext4",source="/dev/sda1",device="sda"} 1
dovrel_filesystem_read_only{mountpoint="/",fstype="ext4",source="/dev/sda1"} 0
dovrel_filesystem_read_only{mountpoint="/odd�[2J",fstype="ext4",source="/dev/sda1"} 0
dovrel_filesystem_size_bytes{mountpoint="/",fstype="ext4",source="/dev/sda1"} 107374182400
dovrel_filesystem_size_bytes{mountpoint="/odd�[2J",fstype="ext4",source="/dev/sda1"} 107374182400
dovrel_filesystem_used_bytes{mountpoint="/",fstype="ext4",source="/dev/sda1"} 80530636800
dovrel_filesystem_available_bytes{mountpoint="/",fstype="ext4",source="/dev/sda1"} 26843545600
dovrel_filesystem_available_bytes{mountpoint="/odd�[2J",fstype="ext4",source="/dev/sda1"} 107374182400
dovrel_filesystem_used_ratio{mountpoint="/",fstype="ext4",source="/dev/sda1"} 0.75
dovrel_network_info{host_name="file�server"} 1
dovrel_name_server_info{address="10.0.0.1"} 1
dovrel_adapter_info{adapter="eth0"} 1
dovrel_adapter_info{adapter="ib�[2J"} 1
dovrel_adapter_info{adapter="tun0"} 1
dovrel_adapter_state{adapter="eth0",state="up"} 1
dovrel_adapter_state{adapter="eth0",state="down"} 0
dovrel_adapter_state{adapter="eth0",state="no_carrier"} 0
dovrel_adapter_state{adapter="ib�[2J",state="up"} 1
dovrel_adapter_state{adapter="ib�[2J",state="down"} 0
dovrel_adapter_state{adapter="ib�[2J",state="no_carrier"} 0
dovrel_adapter_state{adapter="tun0",state="up"} 1
dovrel_adapter_state{adapter="tun0",state="down"} 0
dovrel_adapter_state{adapter="tun0",state="no_carrier"} 0
dovrel_adapter_address_info{adapter="eth0",address="10.0.0.5",prefix_length="24",scope="global"} 1
dovrel_adapter_address_info{adapter="eth0",address="10.0.0.6",prefix_length="24",scope="global"} 1
dovrel_adapter_address_info{adapter="tun0",address="10.1.0.1",prefix_length="24",scope="global"} 1
dovrel_recovery_running 1
dovrel_recovery_phase{phase="idle"} 0
dovrel_recovery_phase{phase="early"} 0
dovrel_recovery_phase{phase="restoring"} 1
dovrel_recovery_phase{phase="final_sync"} 0
dovrel_recovery_phase{phase="later"} 0
dovrel_recovery_operation 5000
dovrel_recovery_progress_ratio 0.37
)");
}

TEST(OpenMetrics, hasTheMetricsOfTheSubjectsThatWereAskedFor)
{
    MetricsText const all(metricsOf(knownMachine()));
    size_t further = 0;
    for (Subject const subject : app_test::allSubjects()) {
        MetricsText const one(metricsOf(knownMachine({subject})));
        for (std::string const& name : one.names())
            EXPECT_EQ(all.families().count(name), 1U) << name;
        ASSERT_THAT(one.names(), testing::SizeIs(testing::Gt(2U)));
        EXPECT_EQ(one.names()[0], "dovrel_read_timestamp_seconds");
        EXPECT_EQ(one.names()[1], "dovrel_problems");
        further += one.names().size() - 2;
    }
    EXPECT_EQ(further, all.names().size() - 2) << "each metric is of one subject";
}

TEST(OpenMetrics, hasNoSampleOfAnUnknownFact)
{
    Machine machine;
    machine.subjects = app_test::allSubjects();
    machine.problems = {app_test::failureOf(Subject::RECOVERY)};
    machine.system.emplace();
    machine.memory.emplace();
    machine.networks.emplace().adapters.resize(1);
    machine.mounts.emplace().resize(1);
    machine.disks = {app::Disk()};
    machine.processors.emplace().list.resize(1);

    EXPECT_THAT(MetricsText(metricsOf(machine)).names(),
        ElementsAre("dovrel_read_timestamp_seconds", "dovrel_problems", "dovrel_cpus",
            "dovrel_cpu_info", "dovrel_disk_info", "dovrel_disk_partitions",
            "dovrel_filesystem_info", "dovrel_filesystem_read_only", "dovrel_adapter_info"));
}

TEST(OpenMetrics, hasNoSampleOfASubjectThatCouldNotBeRead)
{
    Machine machine;
    machine.subjects = app_test::allSubjects();
    for (Subject const subject : machine.subjects)
        machine.problems.push_back(app_test::failureOf(subject));

    EXPECT_THAT(MetricsText(metricsOf(machine)).names(),
        ElementsAre("dovrel_read_timestamp_seconds", "dovrel_problems"));
    EXPECT_THAT(samplesOf(machine, "dovrel_problems"), testing::Each(testing::EndsWith("} 1")));
}

TEST(OpenMetrics, hasNoSampleOfAValueThatIsNoNumber)
{
    Machine machine = knownMachine({Subject::PROCESSORS});
    machine.processors->loadPercent = std::nan("");
    machine.processors->list[0].loadPercent = std::numeric_limits<double>::infinity();

    EXPECT_THAT(samplesOf(machine, "dovrel_all_cpus_load_ratio"), IsEmpty());
    EXPECT_THAT(samplesOf(machine, "dovrel_cpu_load_ratio"), IsEmpty());
}

TEST(OpenMetrics, escapesQuotesBackslashesAndNewlines)
{
    EXPECT_THAT(
        sizesOfDisks({"a\"b\\c\nd\\n"}), ElementsAre(R"({device="a\"b\\c\nd\\n"} 1099511627776)"));
}

TEST(OpenMetrics, replacesControlCharacters)
{
    // U+009B is ESC [ in one character. U+00A0 is none.
    EXPECT_THAT(sizesOfDisks({std::string("a\0b\r\t\x1B\x7F\xC2\x9B\xC2\xA0", 11)}),
        ElementsAre("{device=\"a�b�����\xC2\xA0\"} 1099511627776"));
}

TEST(OpenMetrics, replacesBytesThatAreNoUtf8)
{
    // A lone byte, a surrogate, a character in more bytes than it needs, and one cut short.
    EXPECT_THAT(sizesOfDisks({"Z\xFCrich", "\xED\xA0\x80", "\xC0\xAF", "\xF0\x9F\x92\xBE\xE2\x82"}),
        ElementsAre("{device=\"Z�rich\"} 1099511627776", "{device=\"���\"} 1099511627776",
            "{device=\"��\"} 1099511627776", "{device=\"\xF0\x9F\x92\xBE��\"} 1099511627776"));
}

TEST(OpenMetrics, isTheSameInEveryLocale)
{
    Machine machine = knownMachine();
    machine.disks->push_back(app_test::diskOf("Z\xC3\xBCrich"));
    std::string const text = metricsOf(machine);
    EXPECT_THAT(text, HasSubstr("{device=\"Z\xC3\xBCrich\"} 1099511627776\n"));
    for (char const* const locale : {"C", "C.UTF-8"}) {
        app_test::LocaleFor const set(locale);
        EXPECT_EQ(metricsOf(machine), text);
    }
    std::locale const former = std::locale::global(std::locale(std::locale(), new GroupsOfDigits));
    EXPECT_EQ(metricsOf(machine), text);
    std::locale::global(former);
}

TEST(OpenMetrics, keepsTheFirstOfTwoItemsWithTheSameLabels)
{
    Machine machine = machineWithDisks({"a\x01", "a\x02", "b", ""});
    machine.disks->at(1).bytes = 5;

    EXPECT_THAT(samplesOf(machine, "dovrel_disk_size_bytes"),
        ElementsAre(
            "{device=\"a�\"} 1099511627776", "{device=\"b\"} 1099511627776", " 1099511627776"));
}

TEST(OpenMetrics, tellsMountsOfOneFilesystemApart)
{
    Machine machine;
    machine.subjects = {Subject::MOUNTS};
    machine.mounts = {app_test::mountOf("/srv", 75), app_test::mountOf("/srv", 50),
        app_test::mountOf("/srv/\"bind\"", 75)};

    EXPECT_THAT(samplesOf(machine, "dovrel_filesystem_used_ratio"),
        ElementsAre(R"({mountpoint="/srv",fstype="ext4",source="/dev/sda1"} 0.75)",
            R"({mountpoint="/srv/\"bind\"",fstype="ext4",source="/dev/sda1"} 0.75)"));
}

TEST(OpenMetrics, namesTheMountThatStandsForTheSameFilesystem)
{
    Machine machine;
    machine.subjects = {Subject::MOUNTS};
    machine.mounts = {app_test::mountOf("/srv", 75), app_test::mountOf("/var/srv", 75)};
    machine.mounts->at(1).sameAs = "/srv";

    EXPECT_THAT(samplesOf(machine, "dovrel_filesystem_info"),
        ElementsAre(testing::EndsWith("network=\"false\"} 1"),
            testing::EndsWith("network=\"false\",same_as=\"/srv\"} 1")));
}

TEST(OpenMetrics, namesTheMountThatHidesAnother)
{
    Machine machine;
    machine.subjects = {Subject::MOUNTS};
    machine.mounts = {app_test::mountOf("/mnt", 75), app_test::mountOf("/mnt/image", 75)};
    app::Mount& hidden = machine.mounts->at(1);
    hidden.hiddenBy = "/mnt";
    hidden.size = hidden.used = hidden.available = std::nullopt;

    EXPECT_THAT(samplesOf(machine, "dovrel_filesystem_info"),
        ElementsAre(testing::EndsWith("network=\"false\"} 1"),
            testing::EndsWith("network=\"false\",hidden_by=\"/mnt\"} 1")));
    EXPECT_THAT(samplesOf(machine, "dovrel_filesystem_size_bytes"), testing::SizeIs(1))
        << "the sizes of a hidden one are unknown";
}

TEST(OpenMetrics, hasNoGatewaysWhereTheyAreUnknown)
{
    Machine machine;
    machine.subjects = {Subject::NETWORKS};
    machine.networks.emplace().adapters = {
        app_test::adapterOf("eth0", {}), app_test::adapterOf("eth1", {})};
    machine.networks->adapters[0].gateways.reset();
    machine.networks->adapters[1].gateways = {"10.0.0.1", "10.0.0.2"};

    EXPECT_THAT(samplesOf(machine, "dovrel_adapter_gateway_info"),
        ElementsAre(R"({adapter="eth1",gateway="10.0.0.1"} 1)",
            R"({adapter="eth1",gateway="10.0.0.2"} 1)"));
}

TEST(OpenMetrics, writesLargeSizesWithAllDigits)
{
    Machine machine = machineWithDisks({"sda"});
    machine.disks->front().bytes = std::numeric_limits<uint64_t>::max();

    EXPECT_THAT(samplesOf(machine, "dovrel_disk_size_bytes"),
        ElementsAre("{device=\"sda\"} 18446744073709551615"));
}

TEST(OpenMetrics, countsAQueryAsFailedUnlessItReturnedTrue)
{
    Machine machine;
    machine.subjects = app_test::allSubjects();
    machine.library = {{Subject::SYSTEM, answerOf("a", LibraryAnswer::RETURNED_TRUE, 0.5)},
        {Subject::PROCESSORS, answerOf("b", LibraryAnswer::RETURNED_FALSE, 1)},
        {Subject::MEMORY, answerOf("c", LibraryAnswer::THREW, 1)},
        {Subject::DISKS, answerOf("d", LibraryAnswer::NOT_ENDED, 5)},
        {Subject::MOUNTS, answerOf("e", LibraryAnswer::CRASHED, 1)},
        {Subject::RECOVERY, answerOf("f", LibraryAnswer::RETURNED_FALSE, 1)}};

    EXPECT_THAT(samplesOf(machine, "dovrel_query_success"),
        ElementsAre("{query=\"a\"} 1", "{query=\"b\"} 0", "{query=\"c\"} 0", "{query=\"d\"} 0",
            "{query=\"e\"} 0", "{query=\"f\"} 1"))
        << "that no recovery has been started is no failure";
    EXPECT_THAT(samplesOf(machine, "dovrel_query_duration_seconds"),
        testing::IsSupersetOf({"{query=\"a\"} 0.5", "{query=\"d\"} 5"}));
    machine.problems = {app_test::failureOf(Subject::RECOVERY)};
    EXPECT_EQ(samplesOf(machine, "dovrel_query_success").back(), "{query=\"f\"} 0");
}

TEST(OpenMetrics, hasTheProgressOfARecoveryInBaseUnits)
{
    Machine machine;
    machine.subjects = {Subject::RECOVERY};
    machine.time = 1774346400;
    app::Recovery& recovery = machine.recovery.emplace();
    recovery.operation = app::OPERATION_FINAL_SYNC;
    recovery.percent = 137;
    recovery.filesDone = 10;
    recovery.filesTotal = 200;
    recovery.megabytesDone = 4000000000;
    recovery.megabytesTotal = 1000;
    recovery.megabytesPerSecond = 50;
    recovery.recoverStart = 1774346000;
    recovery.restoreStart = 1774346100;

    std::map<std::string, std::vector<std::string>> const expected = {{"running", {" 1"}},
        {"phase",
            {"{phase=\"idle\"} 0", "{phase=\"early\"} 0", "{phase=\"restoring\"} 0",
                "{phase=\"final_sync\"} 1", "{phase=\"later\"} 0"}},
        {"operation", {" 5500"}}, {"progress_ratio", {" 1.37"}}, {"files_done", {" 10"}},
        {"files_planned", {" 200"}}, {"done_bytes", {" 4194304000000000"}},
        {"planned_bytes", {" 1048576000"}}, {"rate_bytes_per_second", {" 52428800"}},
        {"start_timestamp_seconds", {" 1774346000"}}, {"end_timestamp_seconds", {}}};
    for (auto const& [name, samples] : expected)
        EXPECT_EQ(samplesOf(machine, "dovrel_recovery_" + name), samples) << name;
    EXPECT_THAT(
        samplesOf(machine, "dovrel_restore_start_timestamp_seconds"), ElementsAre(" 1774346100"));
    EXPECT_THAT(samplesOf(machine, "dovrel_restore_end_timestamp_seconds"), IsEmpty());

    recovery.recoverEnd = 1774346300;
    EXPECT_THAT(samplesOf(machine, "dovrel_recovery_running"), ElementsAre(" 0"));
    machine.recovery.reset();
    EXPECT_THAT(samplesOf(machine, "dovrel_recovery_running"), ElementsAre(" 0"));
}

TEST(OpenMetrics, isWrittenForTheWholeMachineAndForOneSubject)
{
    app_test::WholeMachine const machine;
    app_test::Outcome const all = machine.program({"--openmetrics", "--no-usage"}).run();
    EXPECT_EQ(all.status, app::EXIT_STATUS_OK) << all.err;
    MetricsText const whole(all.out);
    EXPECT_EQ(whole.families().at("dovrel_memory_total_bytes").samples.at(0).value, 2147483648.0);
    EXPECT_EQ(whole.families().at("dovrel_query_success").samples.size(), 7U);

    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"memory", "--openmetrics"}, {"--openmetrics", "memory"}}) {
        app_test::Outcome const memory = machine.program(arguments).run();
        EXPECT_EQ(memory.status, app::EXIT_STATUS_OK) << memory.err;
        MetricsText const one(memory.out);
        EXPECT_EQ(one.families().count("dovrel_memory_total_bytes"), 1U);
        EXPECT_EQ(one.families().count("dovrel_disk_info"), 0U);
    }
}

TEST(OpenMetrics, isNoOutputOfTheLibraryCommandAndOfAWatch)
{
    std::pair<std::vector<std::string>, std::string> const refused[] = {
        {{"library", "--openmetrics"}, "is an option of all commands but library"},
        {{"--openmetrics", "library"}, "is an option of all commands but library"},
        {{"recovery", "--watch", "--openmetrics"}, "has no use with --watch"}};
    for (auto const& [arguments, reason] : refused) {
        app_test::Outcome const outcome = app_test::Program(arguments).run();
        EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("--openmetrics " + reason));
    }
}
