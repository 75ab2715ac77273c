#include "tests/docs/Piece.h"

#include "tests/support/Machine.h"

#include <cstdlib>
#include <iostream>
#include <string>

using testkit::machine;

namespace {

void makeNetworkTools()
{
    machine.tool("/bin/cat", "exec /testkit/bin/cat \"$@\"\n");
    machine.tool("/bin/grep", "exec /testkit/bin/grep \"$@\"\n");
    machine.tool("/sbin/ifconfig",
        "echo 'eth0: flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500'\n"
        "echo '        inet 10.0.0.5  netmask 255.255.255.0  broadcast 10.0.0.255'\n"
        "echo '        ether 00:1a:2b:3c:4d:5e  txqueuelen 1000'\n"
        "echo 'lo: flags=73<UP,LOOPBACK,RUNNING>  mtu 65536'\n"
        "echo '        inet 127.0.0.1  netmask 255.0.0.0'\n");
    machine.tool("/sbin/route", "exit 0\n");
    machine.file("/etc/resolv.conf", "nameserver 10.0.0.1\n");
}

void makeMachine()
{
    ::setenv("PATH", "/sbin:/bin", 1);
    machine.file("/proc/meminfo", "MemTotal:       32747679 kB\nMemFree:        25725452 kB\n");
    machine.file("/proc/stat",
        "cpu  75 0 0 175 0 0 0\ncpu0 40 0 0 100 0 0 0\ncpu1 35 0 0 75 0 0 0\nctxt 7\n");
    for (char const* const cpu : {"cpu0", "cpu1"}) {
        std::string const folder = std::string("/sys/devices/system/cpu/") + cpu + "/cpufreq/";
        machine.file(folder + "scaling_cur_freq", "2400000\n");
        machine.file(folder + "bios_limit", "3600000\n");
    }
    machine.file("/proc/partitions",
        "major minor  #blocks  name\n\n   8 0 500107608 sda\n   8 1 1048576 sda1\n"
        "   8 2 2097152 sda2\n   8 3 496960512 sda3\n");
    for (char const* const device : {"/dev/sda", "/dev/sda2", "/dev/sda3"})
        machine.file(device, "");
    machine.link("/dev/disk/by-id/ata-SAMSUNG_MZ7LN512_S2X9NX0H", "../../sda");
    machine.file("/proc/mounts",
        "/dev/sda3 / ext4 rw,relatime 0 0\nproc /proc proc rw 0 0\n/dev/sda2 /tmp ext4 rw 0 0\n");
    machine.file("/sys/class/dmi/id/sys_vendor", "ExampleMaker\n");
    machine.file("/sys/class/dmi/id/product_name", "Laptop 1\n");
    makeNetworkTools();
}

}

void beginPiece(char const* place)
{
    makeMachine();
    std::cout << "piece " << place << std::endl;
}
