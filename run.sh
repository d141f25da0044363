#!/usr/bin/env bash
# The system on this machine: installs what is missing, builds, and shows a short tour of operations on the sample
# lab. With arguments it is hdqadmin: ./run.sh OPERATION [NAME=VALUE...], ./run.sh --list, ./run.sh --help.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
hdqadmin=$root/build/native/bin/hdqadmin

"$root/scripts/install-packages.sh" build </dev/null
"$root/scripts/build.sh" native hdqadmin mfwhost </dev/null

[ $# = 0 ] || exec "$hdqadmin" "$@"

# show TEXT ARGUMENTS...: one stop of the tour. A refusal is an answer too, so its status does not end the tour.
show() {
    printf '\n%s\n  $ ./run.sh' "$1"
    shift
    printf ' %q' "$@"
    printf '\n'
    "$hdqadmin" "$@" 2>&1 | sed 's/^/    /' || true
}

echo "A tour of the sample lab: a pod's directory and its machine, simulated in this process."
printf '\nOf the operations there are, the first five (all: ./run.sh --list):\n'
"$hdqadmin" --list | sed -n '1,5s/^/    /p'
show "Does the pod's directory answer?" checkLdapConnectivity
show "Name the cluster. Nothing is written back to the lab's files without --save." setClusterName "clustername=North Campus"
show "Two security servers stand behind this connection server, so it cannot be removed." deleteConnectionServerEntry servername=VCS1
show "Who somebody is, and in what state the account is." getUserInformation "dn=CN=Bob Baker,OU=Staff,DC=corp,DC=example"
show "The machines that somebody owns." getMachineInfo 'username=CORP\bob'
show "What somebody may use: two of the SIDs that getUserTokenGroups gives." getEntitledDesktops sid=S-1-5-21-2000-2000-2000-1104 sid=S-1-5-21-2000-2000-2000-1205
show "Machines of people who may not use them any more." getUnentitledMachines
show "Where the service keeps its files on this machine." getAppdataLocation
show "What an operation takes and answers." setClusterName --help
show "A name that nobody knows." makeCoffee
printf '\nNext: ./run.sh --list, docs/, ./test.sh\n'
