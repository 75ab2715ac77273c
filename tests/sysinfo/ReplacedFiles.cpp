#include "tests/sysinfo/ReplacedFiles.h"

#include "tests/support/Machine.h"
#include "tests/support/SystemFailure.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>

namespace testkit {

namespace {

/** Writes @p text in two steps to a file that is opened with @p flags. */
void writeSlowly(std::string const& path, int flags, std::string const& text, unsigned mode)
{
    int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, mode);
    if (file < 0 && errno == ETXTBSY) // The tool is being executed.
        return;
    if (file < 0)
        fail("open", path);
    size_t const half = text.size() / 2;
    bool const written = ::write(file, text.data(), half) == static_cast<ssize_t>(half)
        && ::write(file, text.data() + half, text.size() - half)
            == static_cast<ssize_t>(text.size() - half);
    if (::close(file) != 0 || !written)
        fail("write", path);
}

void renameOver(std::string const& path, std::string const& text, unsigned mode)
{
    std::string const next = path + ".next";
    writeSlowly(next, O_TRUNC, text, mode);
    if (::rename(next.c_str(), path.c_str()) != 0)
        fail("rename", path);
}

/** A shell script without a PATH: its commands are the shell's own. */
std::string script(std::string const& output)
{
    return "#!/bin/sh\necho '" + output + "'\n";
}

}

ReplacedFiles::ReplacedFiles()
{
    file("/proc/meminfo", "MemTotal: 8000 kB\nMemFree: 3000 kB\n", "MemTotal: 8000 kB\nMemF");
    file("/proc/stat", "cpu0 1 1 1 7 1 1 1\ncpu1 2 2 2 9 2 2 2\n", "cpu0 9 9 9 90 9 9 9\ncpu1 3 2");
    file("/proc/partitions", "major minor  #blocks  name\n\n8 0 1000 sda\n8 1 900 sda1\n",
        "major minor  #blocks  name\n\n8 16 5 sdb\n8 0");
    file("/proc/mounts", "/dev/sda1 /boot ext4 rw 0 0\n/dev/mapper/vg-root / ext4 rw 0 0\n",
        "/dev/sda1 /tmp ext4 rw 0 0\n/dev/sdb /gone ext4 rw 0 0\n/dev/ma");
    for (char const* device : {"/dev/sda", "/dev/sda1", "/dev/dm-0"})
        file(device, "", "x");
    file("/etc/resolv.conf", "nameserver 10.0.0.1\nnameserver fe80::1\n",
        "nameserver 10.0.0.\nname");
    file("/etc/dovrel/status.ini",
        "[Main]\nStatus=5000\nRestoreStart=13-05-2014 16:53:20\n[RestoreStatus]\n"
        "TotalFiles=200\nFilesDone=50\nTotalBytes=1048576000\nBytesDone=524288000\n",
        "[Main]\nStatus=50000000000000\n[RestoreStatus\nTotalFiles=-");
    file("/etc/dovrel/DRAnswer.ini", "[AdvancedOptions]\n", "[AdvancedOptions]\nFinalSync=1");
    file("/tmp/percent", "73\n", "");
    for (std::string const cpu : {"cpu0", "cpu1"}) {
        std::string const folder = "/sys/devices/system/cpu/" + cpu + "/cpufreq/";
        file(folder + "bios_limit", "2400000\n", "<unknown>\n");
        file(folder + "scaling_cur_freq", "1200000\n", "");
    }
    file("/sys/class/dmi/id/sys_vendor", "Acme\n", std::string(5000, 'A'));
    file("/sys/class/dmi/id/product_name", "Rocket\n", "");
    file("/sys/class/dmi/id/product_version", "1.0\n", std::string(60, '\0'));
    tool("/usr/sbin/dmidecode", script("Memory Device\n\tSize: 16 MB\n"), "#!/bin/sh\nexit 3\n");
    tool("/sbin/ifconfig",
        script("eth0: flags=4163<UP>\n        inet 10.0.0.5  netmask 255.255.255.0\n"
               "        ether 00:0c:29:aa:bb:cc  txqueuelen 1000\n\n"
               "eth1: flags=4163<UP>\n        inet 10.0.1.5  netmask 255.255.255.0\n"),
        script("eth0: flags=4163<UP>\n        inet 10.0.0.") + "exit 1\n");
    tool("/sbin/route", script("0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth0"), "#!/bin/no/such/shell\n");
    tool("/bin/cat", "#!/bin/sh\nwhile read -r line; do echo \"$line\"; done <\"$1\"\n", "");
    tool("/bin/grep", "#!/bin/sh\nwhile read -r line; do echo \"$line\"; done\n",
        "#!/bin/sh\nexit 2\n");
    tool(
        "/sbin/pvdisplay", script("  /dev/mapper/vg:vg:1"), script("/dev/mapper/vg:") + "exit 5\n");
}

void ReplacedFiles::file(
    std::string const& path, std::string const& intact, std::string const& other)
{
    m_entries.push_back({path, intact, other, 0644});
}

void ReplacedFiles::tool(
    std::string const& path, std::string const& intact, std::string const& other)
{
    m_entries.push_back({path, intact, other, 0755});
}

void ReplacedFiles::restore() const
{
    for (Entry const& entry : m_entries) {
        machine.file(entry.path, entry.intact);
        if (::chmod(entry.path.c_str(), entry.mode) != 0)
            fail("chmod", entry.path);
    }
    for (char const* link : {"/dev/mapper/vg-root", "/dev/disk/by-id/ata-Acme_1"}) {
        if (::unlink(link) != 0 && errno != ENOENT)
            fail("unlink", link);
    }
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.link("/dev/disk/by-id/ata-Acme_1", "../../sda");
}

void ReplacedFiles::replaceUntilClosed(int stop) const
{
    ::umask(0);
    try {
        pollfd closed{stop, POLLIN, 0};
        for (unsigned step = 0; ::poll(&closed, 1, 1) == 0; ++step) {
            Entry const& entry = m_entries[step % m_entries.size()];
            unsigned const turn = step / static_cast<unsigned>(m_entries.size());
            std::string const& text = turn % 2 == 0 ? entry.other : entry.intact;
            if (turn % 6 < 2) {
                renameOver(entry.path, text, entry.mode);
            } else if (turn % 6 < 4) {
                writeSlowly(entry.path, O_TRUNC, text, entry.mode);
            } else {
                if (::unlink(entry.path.c_str()) != 0)
                    fail("unlink", entry.path);
                ::poll(nullptr, 0, 1);
                writeSlowly(entry.path, O_EXCL, text, entry.mode);
            }
        }
        restore();
    } catch (std::exception const&) {
        ::_exit(1);
    }
    ::_exit(0);
}

}
