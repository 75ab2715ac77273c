#include "bench/fake_recovery.h"
#include "bench/private_mounts.h"

#include <sys/stat.h>

#include <string>

namespace bench {

namespace {

/** @return a file of tzfile(5) for Coordinated Universal Time. Without it each call of mktime(3)
 * searches for the file, unlike on a real machine. */
std::string timeZone()
{
    std::string file("TZif");
    file.resize(44);
    file[39] = 1; // One type of local time, with a name of four bytes.
    file[43] = 4;
    file.resize(50);
    file += "UTC";
    return file + '\0';
}

}

void writeRecovery()
{
    writeText("/etc/localtime", timeZone());
    mkdir("/etc/dovrel", 0755);
    writeText(RECOVERY_FILES[0],
        "; written by the recovery engine\n[Main]\nStatus=5000\n"
        "RecoverStart=24-03-2013 14:05:09\nRecoverEnd=\nRestoreStart=24-03-2013 14:07:31\n"
        "RestoreEnd=\n\n[RestoreStatus]\nTotalFiles=2834711\nFilesDone=1245380\n"
        "TotalBytes=734003200000\nBytesDone=314572800000\n");
    std::string answers = "[AdvancedOptions]\nFinalSync=1\nRebootWhenDone=false\n";
    for (char volume = 'a'; volume < 'e'; ++volume)
        answers += std::string("\n[Volume_sd") + volume
            + "]\nRestore=true\nResize=false\nFileSystem=ext4\nMountPoint=/data/" + volume + '\n';
    writeText(RECOVERY_FILES[1], answers);
    writeText(RECOVERY_FILES[2], "43\n");
}

}
