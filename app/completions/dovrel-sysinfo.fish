# Completions of dovrel-sysinfo(1) for fish. Made by tools/command-line-files from dovrel-sysinfo --describe.

function __dovrel_sysinfo_columns
    set -l words (commandline -opc)
    set -l given (string replace -r -- '^--columns=' '' (commandline -ct))
    set -l before (string match -r -- '^(?:.*[,+])?' $given)
    for word in $words
        if contains -- $word cpus disks mounts networks net
            $words[1] $word --list-columns --no-headings 2>/dev/null |
                string replace -r -- '^(\S+)\s+' "$before"'$1\t'
        end
    end
end

complete -c dovrel-sysinfo -f
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a system -d 'The machine, its firmware and its operating system'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a cpus -d 'Processors: models, speeds, loads'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a memory -d 'Memory in use and available, swap, modules'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a disks -d 'Disks and the devices on them'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a mounts -d 'Mounted filesystems: sizes, use, disks beneath'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a networks -d 'Network adapters, addresses, gateways, name servers'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a net -d 'Network adapters, addresses, gateways, name servers'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a recovery -d 'The progress of a recovery of this machine'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a library -d 'What the library reports to its host, and why where it differs'
complete -c dovrel-sysinfo -n 'not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -a all -d 'All tables, one below the other'
complete -c dovrel-sysinfo -n '__fish_seen_subcommand_from cpus all; or not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -l no-usage -d 'Do not measure loads, which takes one second'
complete -c dovrel-sysinfo -n '__fish_seen_subcommand_from memory disks mounts all' -l bytes -d 'Show sizes as numbers of bytes'
complete -c dovrel-sysinfo -n '__fish_seen_subcommand_from disks' -l tree -d 'Show each device below those that it is made of, and where it is mounted'
complete -c dovrel-sysinfo -n '__fish_seen_subcommand_from cpus disks mounts networks net' -s o -l columns -x -a '(__dovrel_sysinfo_columns)' -d 'Show these columns'
complete -c dovrel-sysinfo -n '__fish_seen_subcommand_from cpus disks mounts networks net' -l list-columns -d 'List the columns and their meanings'
complete -c dovrel-sysinfo -n '__fish_seen_subcommand_from recovery' -l watch -d 'Follow the recovery, looking every SECONDS (1)'
complete -c dovrel-sysinfo -s h -l help -d 'Show this help'
complete -c dovrel-sysinfo -l version -d 'Show the version'
complete -c dovrel-sysinfo -l json -d 'Write JSON'
complete -c dovrel-sysinfo -l html -d 'Write a page for a browser, in one file'
complete -c dovrel-sysinfo -n '__fish_seen_subcommand_from system cpus memory disks mounts networks net recovery all; or not __fish_seen_subcommand_from system cpus memory disks mounts networks net recovery library all' -l openmetrics -d 'Write metrics for monitoring'
complete -c dovrel-sysinfo -l output -r -F -d 'Write to FILE, as to a pipe'
complete -c dovrel-sysinfo -l no-headings -d 'Show rows alone, without headings, notes and details'
complete -c dovrel-sysinfo -l color -x -a 'auto always never' -d 'Color the screen: auto (default: on a terminal), always or never'
complete -c dovrel-sysinfo -l tool-limit -x -d 'The longest time for each tool, each query of the library and the sizes of the filesystems (5)'
complete -c dovrel-sysinfo -l timing -d 'Show on standard error how long each subject and each query of the library took'
complete -c dovrel-sysinfo -l trace -x -a '0 1 2 3 4 5' -d 'Show the library\'s trace on standard error: 0 (default: nothing) to 5'
