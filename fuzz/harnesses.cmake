# The harnesses, for the tests (CMakeLists.txt) and for clang's libFuzzer (libfuzzer/CMakeLists.txt). Each is NAME_fuzz.cpp, has
# its seeds in seeds/NAME, and fuzzes the sources behind OF, whose coverage fuzz/run shows.
#
# dovrel_fuzz_harness(NAME OF source... [SOURCES source...] [LIBRARIES target...])

foreach(parser dmidecode_output ifconfig_output proc_meminfo proc_mounts proc_partitions proc_stat pvdisplay_output
        recovery_status resolv_conf route_output)
    dovrel_fuzz_harness(${parser} OF sysinfo/parsers/${parser}.cpp LIBRARIES dovrel::dovrel-sysinfo)
endforeach()

# Text of hosts, of the kernel and of child processes.
dovrel_fuzz_harness(addresses
    OF common/basic/inet_address.cpp common/basic/ip_address.cpp sysinfo/UNIXNetworkInfo.cpp LIBRARIES dovrel::dovrel-sysinfo)
dovrel_fuzz_harness(child_failure
    OF common/basic/processstream/src/process_exception.cpp LIBRARIES dovrel::dovrel-sysinfo)
dovrel_fuzz_harness(ini
    OF common/basic/IniFile.cpp SOURCES tests/reference/ini.cpp LIBRARIES dovrel::dovrel-sysinfo)
dovrel_fuzz_harness(macaddress
    OF common/basic/macaddress.cpp common/basic/macaddress.h LIBRARIES dovrel::dovrel-sysinfo)
dovrel_fuzz_harness(number_casts
    OF common/basic/text_cast.cpp LIBRARIES dovrel::dovrel-sysinfo)
dovrel_fuzz_harness(text_conversions
    OF common/basic/ascii_text.cpp common/basic/safe_wcstombs_s.cpp common/basic/wide_string.cpp
    LIBRARIES dovrel::dovrel-sysinfo)

# What the program reads from people and from other machines.
dovrel_fuzz_harness(command_line
    OF app/command_line.cpp app/command_line_table.cpp LIBRARIES dovrel-app-command-line)
dovrel_fuzz_harness(recording_answers
    OF app/recording/Answers.cpp app/recording/answer_line.cpp LIBRARIES dovrel-app-recording)
dovrel_fuzz_harness(recording_archive
    OF app/recording/archive LIBRARIES dovrel-app-recording Zlib::zlib)
dovrel_fuzz_harness(recording_manifest
    OF app/recording/archive/manifest_reading.cpp app/recording/archive/manifest_writing.cpp
        app/recording/archive/recording_check.cpp
    LIBRARIES dovrel-app-recording)
