#!/usr/bin/env python3
"""Changes a small library whose tests leave something unnoticed, and compares what is told of it.

    selftest.py CXX
"""

import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import mutate  # noqa: E402
import program  # noqa: E402

LIBRARY = """\
void set(int& number) { number = 2; }
int limited(int number) {
    if (number > 4)
        return 4;
    return number;
}
int steps(int number) {
    int done = 0;
    while (number != 0) {
        --number;
        ++done;
    }
    return done;
}
bool isEven(int number) { return (number & 1) == 0; }
void setBoth(int& first, int& second) {
    set(first);
    set(second);
}
int neverCalled(int number) { return number ? 5 : 6; }
"""
# Nothing asks for steps of more than one, for odd numbers, and for what becomes of the second one.
TESTS = """\
#include <gtest/gtest.h>
void setBoth(int&, int&);
int limited(int);
int steps(int);
bool isEven(int);
TEST(Small, IsLimited) {
    EXPECT_EQ(limited(3), 3);
    EXPECT_EQ(limited(9), 4);
}
TEST(Small, CountsSteps) { EXPECT_EQ(steps(1), 1); }
TEST(Small, FourIsEven) { EXPECT_TRUE(isEven(4)); }
TEST(Small, TheFirstIsSet) {
    int first = 0, second = 2;
    setBoth(first, second);
    EXPECT_EQ(first, 2);
}
"""
# Each passes by itself.
NOT_TOGETHER = """\
#include <gtest/gtest.h>
int runs = 0;
TEST(Alone, IsTheFirst) { EXPECT_EQ(++runs, 1); }
TEST(Alone, IsTheFirstToo) { EXPECT_EQ(++runs, 1); }
"""
EXPECTED = """\
1 constant 2 changed: killed
3 branch taken: killed
3 branch not taken: killed
3 constant 4 changed: survived
4 constant 4 changed: killed
8 constant 0 changed: killed
9 branch taken: killed, does not end
9 branch not taken: killed
10 constant 1 changed: killed, does not end
11 constant 1 changed: killed
15 constant 1 changed: survived
15 value true: survived
15 value false: killed
17 call of set removed: killed
18 call of set removed: survived
20 branch taken: survived
20 branch not taken: survived
20 constant 5 changed: survived
20 constant 6 changed: survived
"""


def test_program(compiler, name, source, objects, folder):
    (folder / f"{name}.cpp").write_text(source)
    mutate.run([compiler, "-O0", "-c", folder / f"{name}.cpp", "-o", folder / f"{name}.test.o"])
    mutate.link(objects, [folder / f"{name}.test.o"], ["-lgtest_main", "-lgtest"], folder / name)
    return mutate.Program(name, folder / name)


def fails_together(program_):
    try:
        mutate.check_together([program_])
    except RuntimeError:
        return True
    return False


def found_named(entries, survivors):
    """How many of the survivors are named, and what is named besides."""
    equivalent = mutate.Equivalent(entries)
    return sum(equivalent.names(each, "text") for each in survivors), equivalent.unused()


def main(compiler):
    program.SECONDS = 0
    survivor = mutate.Mutant("file:1:2 branch taken", "branch", "taken", "file", 1, "function", [])
    entry = {"file": "file", "function": "function", "text": "text", "changes": ["branch taken"]}
    for survivors, expected in [(0, (0, ["file: function: text: branch taken"])), (1, (1, [])), (2, (1, []))]:
        if found_named([entry], [survivor] * survivors) != expected:
            sys.exit(f"one named, {survivors} survivors: {found_named([entry], [survivor] * survivors)}")
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        (folder / "library.cpp").write_text(LIBRARY)
        sources = mutate.Sources(folder)
        command = f"{compiler} -O0 -g1 -fPIC -o library.o -c library.cpp"
        units, objects = mutate.compiled([(folder, command)], folder, lambda file: file == "library.cpp", sources)
        found = mutate.mutants(mutate.kept(units), sources)
        programs = [
            test_program(compiler, "small", TESTS, objects, folder),
            test_program(compiler, "alone", NOT_TOGETHER, objects, folder),
        ]
        mutate.learn(programs, {site.label for mutant in found for site in mutant.sites}, folder)
        if [fails_together(each) for each in programs] != [False, True]:
            sys.exit("tests that pass only by themselves are not seen")
        (folder / "copy").mkdir()
        laboratory = mutate.Laboratory(programs, folder / "copy")
        told = []
        for mutant in found:
            result = laboratory.test(mutant, slow=False)
            outcome = result["outcome"] + (", does not end" if result.get("how") == "does not end" else "")
            told.append(f"{mutant.line} {mutant.kind} {mutant.change}: {outcome}\n")
    told = "".join(told)
    if told != EXPECTED:
        sys.exit(f"expected:\n{EXPECTED}\ntold:\n{told}")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
