#!/usr/bin/env python3
"""Has memory run out in the library's tests, and tells at which of its allocation sites it did.

    memory.py BUILD RESULTS [PART]

BUILD has the programs verify-memory-ROOM and the library. What is refused and what has to hold then
stands in MemorySuite.cpp: each test comes to its end, or std::bad_alloc ends it; the library ends no
process, and nothing is left behind. What a test expected may be missed. With PART, each PART-th test.

RESULTS gets sites.txt, a line for each allocation site: a call, in a function of the library, of
operator new or of what allocates on behalf of its caller, as the standard library's templates, the
framework's operator new, and functions that end with a jump to such; the source file and line, how
often it was met, from how many places, and how often it was refused, alone and with all after it; or
the reason why it was refused in no test. After these, the sites of templates that only tests
instantiate, and where tests have ended their process themselves.

Exit status: 1 when a test came to no good end; when the library does not tell where a site stands,
which it does where it was built with VARNOL_ABI; or, without PART, when a site was never refused and
has no reason, or a reason holds for another number of sites than it says.
"""

import re
import subprocess
import sys
from collections import defaultdict
from pathlib import Path
from typing import NamedTuple

ROOMS = ["framework", "platform", "model", "bpdu", "syncers"]
# How names of functions begin that allocate on behalf of their callers.
STANDARD = re.compile(r"_ZN?K?(St|9__gnu_cxx|SI|SN|VSt)")
# What has the function in it that it calls.
CALLS = re.compile(r"_ZNSt17_Function_handler|_ZSt\d+__invoke|_ZNSt6thread")
# Of those, which are the library's: memory of framework objects.
FRAMEWORK = re.compile(r"_ZN3Zel12PtrInterface11zelMemAllocEm$|_ZN3Zel6ObjectI.*nwEm$")
# What gives memory; of the C++ library, what puts a text into an exception.
NEW = re.compile(r"_Zn[wa]")
EXCEPTION_TEXT = re.compile(r"_ZNSt(13runtime_error|12length_error|11logic_error)C[12]E")
# The tests instantiate templates of the framework that the library does not.
TEMPLATES = re.compile(r"_ZNK?(3Zel(?!4Test|12_GLOBAL)|6Fennic(?!12_GLOBAL))")


class Reason(NamedTuple):
    """Why sites were refused in no test."""

    why: str
    # How many there are.
    sites: int
    # How the names of their functions begin, and what stands in the source at their places.
    function: re.Pattern
    source: re.Pattern


REASONS = [
    Reason(
        "a text that stands in its string, 15 characters at most, never needs room for 30 to have one more",
        2,
        re.compile(r"Zel::LineWriter::operator\(\)"),
        re.compile(r"line \+= '\\n';|line\.insert\(0, 1, '\\n'\);"),
    ),
    Reason(
        "puts a text before another that has room for both",
        3,
        re.compile(r"Zel::\(anonymous namespace\)::TextPrinter::attributes\(|Zel::differencesText\b"),
        re.compile(r"std::string\(attribute\.name\) \+ \"\[\" \+|difference\.path \+ \"|\" \+ difference\.right"),
    ),
    Reason(
        "has room for the numbers of the first 10^8 octets of a text",
        2,
        re.compile(r"Zel::\(anonymous namespace\)::wrong\("),
        re.compile(r"std::to_string\(at \+ 1\)"),
    ),
    Reason(
        "stands after the time, whose 27 characters have room for 30",
        2,
        re.compile(r"Zel::traceLine\b"),
        re.compile(r"line \+= ' ';"),
    ),
    Reason(
        "cuts a text, which needs no memory",
        6,
        re.compile(r"Zel::TreeDiff::(at|attribute|elements)\("),
        re.compile(r"path_\.resize\(size_\)"),
    ),
    Reason(
        "for a table without a chain, which does not grow",
        1,
        re.compile(r"Zel::HashTable::grow\("),
        re.compile(r"new \(std::nothrow\)"),
    ),
    Reason(
        "in a copy of the function that nobody calls, for it is inlined wherever it is called",
        1,
        re.compile(r"Zel::TraceRegistry::made\b"),
        re.compile(r"new Settings;"),
    ),
]

# Tests that are left out, and why; those that end a process are, too.
LEFT_OUT = {
    "PtrTest.AnOldObjectMayAssignThePointerThatLeavesIt": "an exception has its object assign a pointer that is gone",
    "PatternTest.ReleasingTheChildrenReleasesThoseThatAreMadeMeanwhile": "has a reactor throw where the library lets nothing out",
    "Census.CountsObjectsThatOnlyACycleHoldsUntilItIsBroken": "an exception leaves its cycle unbroken",
}
for reason, names in {
    "runs the tests' own main program": (
        "TraceFile.MemoryMayBeTakenAwayWhereThreadsCannotBeSynchronized",
        "TraceFile.AsksForNoBarrierWhereThreadsCannotBeSynchronized",
        "TraceFile.AThreadWritesIntoTheFirstTwoFilesOfItsProcessByTurns",
        "TraceFile.AThreadThatHasALaneWritesWithoutALockWhereThreadsCannotBeSynchronized",
    ),
    "uses a packet or an object that is null": (
        "Pkt.IsAsItWasWhenThereIsNoMemoryForOctetsThatNobodyShares",
        "PktManager.KeepsNoMemoryOfMoreThanTheUsualSize",
        "NoAllocation.AFrameAfterTheFirstAllocatesNothing",
        "PatternTest.AChildWhoseConstructionThrowsIsReleased",
        "Counting/IntxInfoChangeSmTest.OutOfMemoryForAReactorReachesTheMutatorAndCountsNothing/*",
    ),
    "keeps a child whose construction fails": (
        "PatternTest.AChildThatIsMadeInVainAndHeldElsewhereIsAZombieWithoutAnOwner",
        "PatternTest.AReactorThatAnotherHasComeBeforeIsLetGo",
    ),
    "tries until there is memory": (
        "FailingConstruction.OfANamedSyncerAtAnyAllocationLeavesTheNameFree",
        "EntityTest.AValueIsNotWrittenWhenMemoryIsExhausted",
    ),
}.items():
    LEFT_OUT.update(dict.fromkeys(names, reason))

# Where memory runs out, packets are null, and these tests use them. In the whole run tests before them
# have left memory for packets.
NOT_IN_PART = ("Pkt.*", "PktManager.*")


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def functions_of(program):
    """(begin, size, name, kind) of each function that a program or an object defines."""
    for line in output("nm", "--defined-only", "-S", program).splitlines():
        words = line.split()
        if len(words) == 4 and words[2] in "tTwWiu":
            yield int(words[0], 16), int(words[1], 16), words[3], words[2]


def one_name_each(program):
    """name -> the name by which its function is told of here: a function may have several."""
    at = defaultdict(set)
    for begin, _, name, _ in functions_of(program):
        at[begin].add(name)
    return {name: min(each.removesuffix(".localalias") for each in names) for names in at.values() for name in names}


def kind(name, library):
    if CALLS.match(name):
        return "library" if name in library else "test"
    if STANDARD.match(name) or FRAMEWORK.match(name):
        return "through"
    return "library" if name in library or TEMPLATES.match(name) else "test"


def own_operators(objects):
    """The tests' operator new, and what it calls."""
    return {name for path in objects for _, _, name, letter in functions_of(path) if letter in "tT"}


class Program:
    """A room's tests, and what became of them."""

    def __init__(self, build, results, room, library, through, part):
        self.path = build / "verify" / f"verify-memory-{room}"
        self.functions = sorted(each[:3] for each in functions_of(self.path))
        self.names = one_name_each(self.path)
        places = results / f"{room}.functions"
        with places.open("w") as file:
            for begin, size, name in self.functions:
                what = "through" if name in through else kind(name, library)
                file.write(f"{begin:x} {begin + max(size, 1):x} {what}\n")
        chains = results / f"{room}.chains"
        chains.unlink(missing_ok=True)
        left_out = [*LEFT_OUT, *(NOT_IN_PART if part != 1 else ())]
        ended = subprocess.run(
            [self.path, places, chains, str(part), "--gtest_brief=1", f"--gtest_filter=-{':'.join(left_out)}"],
            stdout=subprocess.PIPE,
            text=True,
            check=False,
        )
        self.good = ended.returncode == 0
        self.told = dict(re.findall(r"^([a-z ]+) (\d+)$", ended.stdout, re.M))
        print(f"{room}: exited with {ended.returncode}; {', '.join(map(' '.join, self.told.items()))}", flush=True)
        self.chains = []
        self.ends = defaultdict(int)
        if chains.exists():
            for line in chains.read_text().splitlines():
                if line.startswith("end "):
                    _, count, place = line.split()
                    self.ends[self.site(int(place, 16))[0]] += int(count)
                    continue
                seen, once, always, *callers = line.split()
                self.chains.append((int(seen), int(once), int(always), [int(each, 16) for each in callers]))

    def site(self, address):
        """(function, offset) of a return address."""
        low, high = 0, len(self.functions)
        while low < high:
            middle = (low + high) // 2
            if self.functions[middle][0] < address:
                low = middle + 1
            else:
                high = middle
        begin, _, name = self.functions[low - 1]
        return self.names[name], address - begin


def calls_of(library):
    """function -> [(callee, return offset)] of the library; function -> where it jumps; function -> address."""
    calls, jumps, begins, function = defaultdict(list), defaultdict(set), {}, None
    pending = None
    names = one_name_each(library)
    for line in output("objdump", "-d", "--no-show-raw-insn", library).splitlines():
        head = re.match(r"([0-9a-f]+) <(.+)>:$", line)
        if head:
            function = names.get(head[2], head[2])
            begins[function] = int(head[1], 16)
            pending = None
            continue
        instruction = re.match(r" +([0-9a-f]+):\t(.*)", line)
        if not instruction or function is None:
            continue
        if pending:
            calls[function].append((pending, int(instruction[1], 16) - begins[function]))
            pending = None
        going = re.match(r"(?:\w+ )?(call|jmp) .*<([^+>]+)>", instruction[2])
        if not going:
            continue
        name = going[2].split("@")[0]
        name = names.get(name, name)
        if going[1] == "call":
            pending = name
        else:
            jumps[function].add(name)
    return calls, jumps, begins


def allocating(calls, jumps):
    """Names of the functions whose call is an allocation."""

    def gives(name):
        return NEW.match(name) or EXCEPTION_TEXT.match(name)

    known = {callee for each in calls.values() for callee, _ in each if gives(callee)}
    known |= {callee for each in jumps.values() for callee in each if gives(callee)}
    known |= {"_ZN3Zel12PtrInterface11zelMemAllocEm"}
    while True:
        more = {function for function, each in jumps.items() if each & known}
        more |= {
            function
            for function, each in calls.items()
            if (STANDARD.match(function) or FRAMEWORK.match(function)) and any(callee in known for callee, _ in each)
        }
        if more <= known:
            return known
        known |= more


def places_of(library, addresses):
    """address -> "file:line" of the library's own code, innermost."""
    told = subprocess.run(
        ["addr2line", "-a", "-i", "-e", library],
        input="".join(f"{each:x}\n" for each in addresses),
        check=True,
        stdout=subprocess.PIPE,
        text=True,
    ).stdout
    places, at = {}, None
    for line in told.splitlines():
        if line.startswith("0x"):
            at = int(line, 16)
        elif at not in places:
            # The compiler calls the build's folder "build".
            if own := re.match(rf"(?:build/)?((?:{'|'.join(ROOMS)})/[^:]+:[0-9]+)\b", line):
                places[at] = own[1]
    return places


def source_line(place):
    """The source that stands at "file:line"."""
    name, line = place.split(":")
    return (Path(__file__).parent.parent / name).read_text().splitlines()[int(line) - 1]


def short(plain):
    """A function's name without its parameters."""
    name = plain.replace("(anonymous namespace)::", "").replace("[abi:cxx11]", "")
    return re.match(r".*?operator\(\)|[^(]*", name)[0]


def main(build, results, part=1):
    build, results = Path(build).absolute(), Path(results).absolute()
    results.mkdir(parents=True, exist_ok=True)
    objects = {room: list((build / room).rglob("*.o")) for room in ROOMS}
    library = {name for room in ROOMS for path in objects[room] for _, _, name, _ in functions_of(path)}
    through = own_operators(
        path
        for name in ("FailingAllocation", "MemorySuite", "MemoryCallers")
        for folder in (build / "tests", build / "verify")
        for path in folder.rglob(f"{name}.cpp.o")
    )
    shipped = build / "libVarnol.so"
    calls, jumps, begins = calls_of(shipped)
    gives = allocating(calls, jumps)
    sites = {
        (function, offset)
        for function, each in calls.items()
        if not STANDARD.match(function) and not FRAMEWORK.match(function)
        for callee, offset in each
        if callee in gives
    }

    good, sums, ends = True, defaultdict(int), defaultdict(int)
    met = defaultdict(lambda: [0, 0, 0, 0])
    for room in ROOMS:
        program = Program(build, results, room, library, through, part)
        good = good and program.good
        for name, count in program.told.items():
            sums[name] += int(count)
        for name, count in program.ends.items():
            ends[name] += count
        for seen, once, always, callers in program.chains:
            each = met[program.site(callers[0])]
            for at, more in enumerate((1, seen, once, always)):
                each[at] += more

    names = sorted({function for function, _ in sites} | {function for function, _ in met} | set(ends))
    plain = dict(zip(names, output("c++filt", *names).splitlines()))
    places = places_of(shipped, [begins[function] + offset - 1 for function, offset in sites])
    placeless = sorted(site for site in sites if begins[site[0]] + site[1] - 1 not in places)

    def place_of(site):
        return places.get(begins[site[0]] + site[1] - 1, "nowhere")

    def told(site):
        chains, seen, once, always = met[site]
        return f"met {seen} times from {chains} places, refused {once} and {always} times"

    def is_refused(site):
        return site in met and met[site][2] + met[site][3] != 0

    def reason_of(site):
        for reason in REASONS:
            if site not in placeless and (
                reason.function.match(plain[site[0]]) and reason.source.search(source_line(place_of(site)))
            ):
                return reason
        return None

    unrefused, excused = [], {reason: defaultdict(int) for reason in REASONS}
    with (results / "sites.txt").open("w") as file:
        for site in sorted(sites, key=lambda site: (plain[site[0]], site[1])):
            function, offset = site
            line = f"{plain[function]} +{offset:#x}, {place_of(site)}"
            if is_refused(site):
                file.write(f"{line}: {told(site)}\n")
                continue
            reason = reason_of(site)
            file.write(
                f"{line}: {told(site) if site in met else 'never met'}: {reason.why if reason else 'NO REASON'}\n"
            )
            if reason:
                excused[reason][f"{short(plain[function])} at {place_of(site)}"] += 1
            else:
                unrefused.append(line)
        others = [site for site in met if site not in sites]
        for function, offset in sorted(others, key=lambda site: plain[site[0]]):
            file.write(f"of what tests instantiate: {plain[function]} +{offset:#x}: {told((function, offset))}\n")
        for function in sorted(ends, key=plain.get):
            file.write(f"where tests let no exception out: {plain[function]}: {ends[function]} times\n")
    for name, why in LEFT_OUT.items():
        print(f"left out: {name}: {why}")
    if placeless:
        function, offset = placeless[0]
        print(
            f"the library does not tell where {len(placeless)} of its {len(sites)} allocation sites stand, as it does "
            f"where it was built with VARNOL_ABI; the first is {plain[function]} +{offset:#x}"
        )
    for each in unrefused:
        print(f"never refused, without a reason: {each}")
    others_than_said = 0
    for reason, each in excused.items():
        number = sum(each.values())
        if part == 1 and number != reason.sites:
            others_than_said += 1
            print(f"{number} sites were never refused, not {reason.sites}: {reason.why}")
        if number != 0 and part == 1:
            at = ", ".join(f"{place}{f' ({count} sites)' if count != 1 else ''}" for place, count in each.items())
            print(f"note: never refused: {at}: {reason.why}")
    with_reason = sum(sum(each.values()) for each in excused.values())
    refused = len(sites) - len(unrefused) - with_reason
    print(
        f"figure: memory refused in {sums['tests']:,} tests, at {refused} of the library's {len(sites)} allocation "
        f"sites, {sums['once']:,} times one allocation and {sums['always']:,} times it and all after it"
        f"{'; nothing left behind' if good else ''}"
    )
    print(
        f"note: the tests passed {sums['passed']:,} times, ended by std::bad_alloc {sums['ran out']:,} times, missed what "
        f"they expected {sums['failed']:,} times, ended their process themselves, in a function that lets no exception out, "
        f"{sums['ended by test']:,} times; {with_reason} sites were never refused and have a reason; "
        f"{len(others)} more sites are in what tests instantiate of the framework: all are in {results.name}/sites.txt "
        f"beside the results; of {sums['long']} long tests only what was new, of {sums['cut']} only the first 10,000 "
        f"allocations, of {sums['threaded']} not what their other threads allocated; left out: {sums['left out']} tests "
        f"that end a process, and {len(LEFT_OUT)} by name"
    )
    return 0 if good and not placeless and (part != 1 or not (unrefused or others_than_said)) else 1


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:3], *map(int, sys.argv[3:])))
