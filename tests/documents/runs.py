"""How each command of the documents is run. Those of a network namespace are one script, in LAB."""

from typing import NamedTuple


class Run(NamedTuple):
    # seconds, minutes or hours
    length: str
    # A regular expression for what it has to print.
    says: str = ""
    # What is run, where a document's command has a reader's own names in it, or where more is to be
    # seen to. /usr/local and /tmp/ are folders of the test's own in both.
    instead: str = ""


TRACE = "/tmp/agent.trace"
FRAMES = r"eval $(sed -n 's/^ *\([PSC]=[0-9a-f]*\)$/\1/p' agent/captures/README.md)"

RUNS = {
    # README.md
    "./dev demo": Run("minutes", "THE AGENT on the wire"),
    "./dev demo --keep FOLDER": Run("minutes", "", "./dev demo --keep tmp/kept && tshark -r tmp/kept/answer.pcap | grep -q RST"),
    "./dev test": Run("hours", "all tests passed in: gcc-release clang-release gcc-debug-sanitize"),
    "./dev test all": Run("hours", "all tests passed in: .* clang-programs-sanitize"),
    "./dev test gcc-release": Run("minutes", "all tests passed in: gcc-release$"),
    "cmake --preset gcc-release": Run("minutes"),
    "cmake --build --preset gcc-release": Run("minutes"),
    "ctest --preset gcc-release": Run("minutes", "100% tests passed"),
    "cmake --workflow --preset release": Run("minutes", "100% tests passed"),
    "cmake --install build/gcc-release --prefix /usr/local --strip": Run("seconds", "/bin/stp-agent$"),
    "ldconfig": Run(
        "seconds",
        "libVarnol\\.so\\.0 ->",
        "cmake --install build/gcc-release --prefix /usr/local >/dev/null && ldconfig -nv /usr/local/lib",
    ),
    "c++ service.cpp $(pkg-config --cflags --libs varnol)": Run(
        "seconds",
        "^03 00 00 02 02 3c 00",
        # Where both look by themselves, were it not for the folder. Other commands' programs have to find
        # the library of their own build.
        "export PKG_CONFIG_PATH=/usr/local/lib/pkgconfig LD_LIBRARY_PATH=/usr/local/lib &&"
        " c++ service.cpp $(pkg-config --cflags --libs varnol) && ./a.out",
    ),
    "cmake -G Ninja -S agent -B build/agent -DCMAKE_PREFIX_PATH=/usr/local": Run(
        "minutes",
        "",
        "cmake --install build/gcc-release --prefix /usr/local >/dev/null &&"
        " cmake -G Ninja -S agent -B build/agent -DCMAKE_PREFIX_PATH=/usr/local",
    ),
    "cmake --build build/agent": Run("minutes", "Built target stp-agent|Linking CXX executable stp-agent"),
    "./dev package": Run("minutes", "varnol-tools_.*\\.deb"),
    "./dev reproduce": Run("minutes"),
    f"build/gcc-release/agent/stp-agent replay agent/captures/rstp-bridge.pcap --trace-map {TRACE}": Run(
        "seconds", "aged out"
    ),
    f"build/gcc-release/tools/varnol-trace tree {TRACE}": Run("seconds", "TxStatusToTxSyncer"),
    "./dev bench": Run("minutes", "works meet their targets"),
    "./dev bench --instructions": Run("minutes", "^mirror_scalar"),
    "./dev verify": Run("hours", "^syncers: reached"),
    "./dev verify notifier soak": Run("minutes", "^soak: reached"),
    "./dev mutate": Run("hours", "^mutate: "),
    "./dev reference": Run("minutes", "build/reference/html/index.html"),
    # CONTRIBUTING.md
    "./dev test gcc-debug-sanitize": Run("minutes", "all tests passed in: gcc-debug-sanitize$"),
    "./dev test clang-programs-sanitize": Run("hours", "all tests passed in: clang-programs-sanitize$"),
    "cmake --workflow --preset debug": Run("minutes", "100% tests passed"),
    "cmake --workflow --preset asan": Run("minutes", "100% tests passed"),
    "cmake --workflow --preset tsan": Run("minutes", "100% tests passed"),
    "cmake --workflow --preset coverage": Run("hours", "100% tests passed"),
    "cmake --workflow --preset tidy": Run("hours"),
    "cmake --workflow --preset abi": Run("minutes", "library\\.Abi .*Passed"),
    "cmake --workflow --preset package": Run("minutes", "varnol-tools_.*\\.deb generated"),
    "./dev format": Run("minutes", "", "./dev format && git diff --exit-code -- '*.h' '*.cpp'"),
    "./dev tidy": Run("hours"),
    "./dev abi --renew": Run("minutes"),
    "tests/library/exports.sh build/gcc-release/libVarnol.so tests/library/api.txt --renew": Run(
        "seconds",
        "^the same$",
        "tests/library/exports.sh build/gcc-release/libVarnol.so tmp/api.txt --renew &&"
        " diff tests/library/api.txt tmp/api.txt && echo the same",
    ),
    "./dev mutate --unit FILE": Run("hours", "^mutate: ", "./dev mutate --unit platform/stp/TimerVal.cpp"),
    # docs/agent.md
    "build/gcc-release/agent/stp-agent replay agent/captures/rstp-bridge.pcap": Run("seconds", "^Notifications: "),
    "tests/agent/program/soak AGENT [SECONDS]": Run(
        "minutes", "", "tests/agent/program/soak build/gcc-release/agent/stp-agent 60"
    ),
    # docs/counters.md
    "./dev verify counters": Run("minutes", "^counters: reached"),
    # docs/reliability.md
    "./dev verify ROW...": Run("minutes", "^pointers: reached", "./dev verify pointers"),
    # docs/tracing.md
    "varnol-trace show FILE": Run("seconds", "TxStatusToTxSyncer", f"varnol-trace show {TRACE}"),
    "varnol-trace show FILE --follow": Run("seconds", "TxStatusToTxSyncer", f"varnol-trace show {TRACE} --follow"),
    "varnol-trace stats FILE": Run("seconds", "median", f"varnol-trace stats {TRACE}"),
    "varnol-trace tree FILE": Run("seconds", "TxStatusToTxSyncer", f"varnol-trace tree {TRACE}"),
    "varnol-trace export FILE --chrome OUT.json": Run(
        "seconds",
        "^read$",
        f"varnol-trace export {TRACE} --chrome OUT.json && python3 -m json.tool OUT.json /dev/null && echo read",
    ),
    "varnol-trace export FILE --ctf FOLDER": Run("seconds", "", f"varnol-trace export {TRACE} --ctf FOLDER"),
    "babeltrace2 --clock-date FOLDER": Run("seconds", "block:"),
    # agent/captures/README.md, whose last lines are the frames
    "record-bridge rstp rstp-bridge.pcap 5:P 2:P 2:S 2:S 9:": Run(
        "minutes",
        "^Notifications: ",
        f"{FRAMES} && examples/bridge/record-bridge rstp rstp-bridge.pcap 5:$P 2:$P 2:$S 2:$S 9: &&"
        " build/gcc-release/agent/stp-agent replay rstp-bridge.pcap",
    ),
    "record-bridge stp stp-bridge.pcap 3:C 2:C 2:C 2:C 2:C 2:C 2:C 2:C 2:": Run(
        "minutes",
        "^Notifications: ",
        f"{FRAMES} && examples/bridge/record-bridge stp stp-bridge.pcap"
        " 3:$C 2:$C 2:$C 2:$C 2:$C 2:$C 2:$C 2:$C 2: &&"
        " build/gcc-release/agent/stp-agent replay stp-bridge.pcap",
    ),
    # agent/stp-agent.1
    "stp-agent replay bridge.pcap": Run("seconds", "^Notifications: "),
    # tools/trace/varnol-trace.1
    "varnol-trace show core --find": Run(
        "seconds", "TxStatusToTxSyncer", f"cat bridge.pcap {TRACE} >core && varnol-trace show core --find"
    ),
}

# With $lab for the namespace's name; `again` repeats a command until it succeeds, as its reader waits for
# what was started in the background.
INSIDE = "ip netns exec $lab"
LAB = {
    "ip netns add lab": r"""
set -u
lab=varnol-documents-$$
ip netns add $lab || exit 77
trap 'kill $(jobs -pr) 2>/dev/null; wait; ip netns del $lab' EXIT
trap 'exit 1' HUP INT TERM
again() {
    local end=$((SECONDS + 30))
    until "$@"; do
        if ((SECONDS >= end)); then
            echo "documents: has not come to pass: $*"
            exit 1
        fi
        sleep 0.1
    done
}
prints() { # REGULAR_EXPRESSION COMMAND...
    local expected=$1
    shift
    "$@" | grep -Eq "$expected"
}
""",
    "ip -n lab link add eth0 type veth peer name o0": "ip -n $lab link add eth0 type veth peer name o0 || exit 77",
    "ip -n lab link add eth1 type veth peer name o1": "ip -n $lab link add eth1 type veth peer name o1 || exit",
    "for i in eth0 o0 eth1 o1; do ip -n lab link set $i up; done": (
        "for i in eth0 o0 eth1 o1; do ip -n $lab link set $i up; done || exit"
    ),
    "mkdir /tmp/lab": "mkdir /tmp/lab || exit",
    "ip netns exec lab examples/bridge/namespace-bridge rstp /tmp/lab o0 o1 &": (
        f"{INSIDE} examples/bridge/namespace-bridge rstp /tmp/lab o0 o1 &"
    ),
    "agent=build/gcc-release/agent/stp-agent": "agent=build/gcc-release/agent/stp-agent",
    "ip netns exec lab $agent run -i eth0 --priority 4096 --mac 02:00:00:00:00:01 --cost 7 --socket /tmp/lab/one &": (
        f"{INSIDE} $agent run -i eth0 --priority 4096 --mac 02:00:00:00:00:01 --cost 7 --socket /tmp/lab/one &"
    ),
    "ip netns exec lab $agent run -i eth1 --priority 8192 --mac 02:00:00:00:00:02 --socket /tmp/lab/two &": (
        f"{INSIDE} $agent run -i eth1 --priority 8192 --mac 02:00:00:00:00:02 --socket /tmp/lab/two & two=$!"
    ),
    "$agent show --socket /tmp/lab/two": (
        "again prints '^Root +4096.0.02:00:00:00:00:01$' $agent show --socket /tmp/lab/two"
    ),
    "$agent watch --socket /tmp/lab/two &": "$agent watch --socket /tmp/lab/two >watched.txt &",
    "$agent set priority 12288 --socket /tmp/lab/one": (
        "again grep -q 'cistRootBridgeId: 4096' watched.txt & looking=$!\n"
        "again $agent set priority 12288 --socket /tmp/lab/one\n"
        "wait $looking || exit"
    ),
    "$agent set trace 'Stp*/8,Varnol/3' --socket /tmp/lab/one": (
        "$agent set trace 'Stp*/8,Varnol/3' --socket /tmp/lab/one || exit"
    ),
    "$agent show traces --socket /tmp/lab/one": (
        "prints '^Stp\\* +0-8 +9$' $agent show traces --socket /tmp/lab/one || exit"
    ),
    "stp-agent show mirror": "prints '^configured -> sending  yes ' stp-agent show mirror --socket /tmp/lab/two || exit",
    "stp-agent show eth0 detail": "prints '^eth0' stp-agent show eth0 detail --socket /tmp/lab/one || exit",
    "stp-agent set hello 1": "stp-agent set hello 1 --socket /tmp/lab/one || exit",
    "stp-agent set trace 'Stp*/8,Varnol/3'": "stp-agent set trace 'Stp*/8,Varnol/3' --socket /tmp/lab/two || exit",
    "stp-agent run -i eth0 eth1 --priority 4096 &": (
        f"kill $two; wait $two\n{INSIDE} stp-agent run -i eth0 eth1 --priority 4096 --socket /tmp/lab/both & both=$!\n"
        "again prints '^eth1' stp-agent show --socket /tmp/lab/both\n"
        "kill $both; wait $both || exit"
    ),
    "stp-agent run --trace-map FILE": (
        f"{INSIDE} stp-agent run -i eth1 --trace-map FILE --socket /tmp/lab/mapped & mapped=$!\n"
        "again prints '^eth1' stp-agent show --socket /tmp/lab/mapped"
    ),
    "stp-agent run -i eth0 --trace-map /run/stp-agent.trace &": "kill $mapped; wait $mapped || exit",
    "varnol-trace show /run/stp-agent.trace --follow": (
        "prints TxStatusToTxSyncer varnol-trace show FILE --follow || exit"
    ),
    "varnol-trace stats /run/stp-agent.trace": "prints median varnol-trace stats FILE || exit",
    # docs/agent.md, at last
    "ip netns del lab": "ip netns del $lab || exit\ntrap - EXIT",
    "kill $(jobs -p)": "kill $(jobs -pr) || exit\nwait",
    "rm -r /tmp/lab": "rm -r /tmp/lab || exit",
}
