# Completions of dovrel-sysinfo(1) for fish. Made by tools/command-line-files from dovrel-sysinfo --describe.

# Prints the command that the words choose, or summary; replayed behind the file of replay, and
# recorded behind that of record.
function __dovrel_sysinfo_command
    set -l command summary
    set -l value
    for word in (commandline -opc)
        if test -n "$value"
            set value
            continue
        end
        switch $word
            case -o --columns --output --color --tool-limit --trace
                set value next
            case '-*'
            case '*'
                switch $command
                    case record
                        set command recorded
                    case replay
                        set command replayed
                    case summary
                        contains -- $word system cpus memory disks mounts networks net recovery library all record replay; and set command $word
                    case replayed
                        contains -- $word system cpus memory disks mounts networks net recovery library all; and set command $word
                end
        end
    end
    echo $command
end

function __dovrel_sysinfo_at
    contains -- (__dovrel_sysinfo_command) $argv
end

function __dovrel_sysinfo_columns
    set -l program (commandline -opc)[1]
    set -l given (string replace -r -- '^--columns=' '' (commandline -ct))
    set -l before (string match -r -- '^(?:.*[,+])?' $given)
    $program (__dovrel_sysinfo_command) --list-columns --no-headings 2>/dev/null |
        string replace -r -- '^(\S+)\s+' "$before"'$1\t'
end

complete -c dovrel-sysinfo -f
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a system -d 'The machine, its firmware and its operating system'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a cpus -d 'Processors: models, speeds, loads'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a memory -d 'Memory in use and available, swap, modules'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a disks -d 'Disks and the devices on them'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a mounts -d 'Mounted filesystems: sizes, use, disks beneath'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a networks -d 'Network adapters, addresses, gateways, name servers'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a net -d 'Network adapters, addresses, gateways, name servers'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a recovery -d 'The progress of a recovery of this machine'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a library -d 'What the library reports to its host, and why where it differs'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary replayed' -a all -d 'All tables, one below the other'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary' -a record -d 'Save all that the queries read on this machine'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at summary' -a replay -d 'Show a recorded machine in place of this one'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at record replay' -F
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at cpus all summary replayed' -l no-usage -d 'Do not measure loads, which takes one second'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at memory disks mounts all' -l bytes -d 'Show sizes as numbers of bytes'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at disks' -l tree -d 'Show each device below those that it is made of, and where it is mounted'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at cpus disks mounts networks net' -s o -l columns -x -a '(__dovrel_sysinfo_columns)' -d 'Show these columns'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at cpus disks mounts networks net' -l list-columns -d 'List the columns and their meanings'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at recovery' -l watch -d 'Follow the recovery, looking every SECONDS (default: 1)'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at record recorded' -l redact -d 'Replace what must not leave the house: serial numbers, UUIDs, addresses, names of hosts, users and volumes'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at record recorded' -l force -d 'Replace a FILE that exists'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at replay' -l check -d 'Compare with what the recorded machine itself reported, in place of a command'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all record replay recorded summary replayed' -s h -l help -d 'Show this help'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l version -d 'Show the version'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l json -d 'Write JSON'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l html -d 'Write a page for a browser, in one file'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery all summary replayed' -l openmetrics -d 'Write metrics for monitoring'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l output -r -F -d 'Write to FILE, as to a pipe'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l no-headings -d 'Show rows alone, without headings, notes and details'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l color -x -a 'auto always never' -d 'Color the screen: auto (default: on a terminal), always or never'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all record recorded summary replayed' -l tool-limit -x -d 'The longest time for each tool, each query of the library and the sizes of the filesystems (default: 5)'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l timing -d 'Show on standard error how long each subject and each query of the library took'
complete -c dovrel-sysinfo -n '__dovrel_sysinfo_at system cpus memory disks mounts networks net recovery library all summary replayed' -l trace -x -a '0 1 2 3 4 5' -d 'Show the library\'s trace on standard error: 0 (default: nothing) to 5'
