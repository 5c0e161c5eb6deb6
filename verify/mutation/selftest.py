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


def main(compiler):
    program.SECONDS = 0
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        (folder / "library.cpp").write_text(LIBRARY)
        (folder / "tests.cpp").write_text(TESTS)
        sources = mutate.Sources(folder)
        command = f"{compiler} -O0 -g1 -fPIC -o library.o -c library.cpp"
        units, objects = mutate.compiled([(folder, command)], folder, lambda file: file == "library.cpp", sources)
        found = mutate.mutants(mutate.kept(units), sources)
        mutate.run([compiler, "-O0", "-c", folder / "tests.cpp", "-o", folder / "tests.o"])
        small = folder / "small"
        mutate.link(objects, [folder / "tests.o"], ["-lgtest_main", "-lgtest"], small)
        programs = [mutate.Program("small", small)]
        mutate.learn(programs, {site.label for mutant in found for site in mutant.sites}, folder)
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
