#pragma once

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/SystemCalls.h"

#include <gtest/gtest.h>

#include <ctime>

/** The recovery engine's files, and a poll of them at a fixed time. */
namespace testkit {

constexpr char RECOVERY_STATUS[] = "/etc/dovrel/status.ini";
constexpr char RECOVERY_ANSWERS[] = "/etc/dovrel/DRAnswer.ini";
constexpr char RECOVERY_PERCENT[] = "/tmp/percent";

constexpr time_t RECOVERY_NOW = 1'400'000'000;

using RecoveryRecord = dovrel::value_ptr<sysinfo::SystemInformation::CloneInfo>;

/** Polls at `RECOVERY_NOW`. @param before the flag's value before the call. */
inline RecoveryRecord pollRecovery(bool before = false)
{
    calls.onTime([] { return RECOVERY_NOW; });
    bool unavailable = before;
    RecoveryRecord record = sysinfo::LinuxSystemInformation().getCloneInfo(unavailable);
    EXPECT_EQ(unavailable, !record);
    return record;
}

}
