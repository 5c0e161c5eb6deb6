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

DECLARED = """\
#include <atomic>
#include <utility>
struct Large {
    int numbers[5];
};
typedef int Doubling(int);
typedef Large Spreading(int);
enum class Letter : unsigned { a, b, c };
"""
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
struct Shape {
    virtual ~Shape();
};
Shape::~Shape() = default;
struct Odd {
    Odd(int given) : number(given) {
        if (given % 2 == 0)
            throw given;
    }
    int number;
};
struct Owner {
    explicit Owner(Odd* odd) : odd_(odd) {}
    ~Owner() { delete odd_; }
    int number() const { return odd_->number; }
    Odd* odd_;
};
int owned(int number) {
    return Owner(new Odd(number)).number();
}
int caught(int number) {
    try {
        return owned(number);
    } catch (int) {
        set(number);
    }
    return number + 1;
}
Doubling* doubling() {
    return [](int number) { return number + number; };
}
Spreading* spreading() {
    return [](int number) { return Large{{number, number, number, number, number}}; };
}
int named(Letter letter) {
    switch (letter) {
    case Letter::a:
        return 10;
    case Letter::b:
        return 20;
    case Letter::c:
        return 30;
    }
    return 0;
}
int several(int number) {
    switch (number) {
    case 1:
        return 10;
    case 4:
        return 20;
    case 9:
        return 30;
    }
    return 0;
}
void note(std::atomic<int>& last, int number) {
    last.store(number,
               std::memory_order_relaxed);
}
int noted(std::atomic<bool>& is, std::atomic<int>& last) {
    return is.load(
        std::memory_order_acquire) ? last.load() : 0;
}
int* row(unsigned numbers) { return new int[numbers]; }
void drop(int* numbers) { delete[] numbers; }
void drop(Shape* shape) {
    delete shape;
}
void dropTaken(int*& numbers) {
    if (!numbers)
        return;
    delete[] std::exchange(numbers, nullptr);
}
int notedApart(int& last) {
    std::atomic_ref noted(last);
    noted.store(0,
                std::memory_order_relaxed);
    return noted.fetch_add(4,
                           std::memory_order_release);
}
int seen(int number) {
    struct Seen {
        int number = limited(3);
        ~Seen() { number = 0; }
    };
    static thread_local Seen last;
    return std::exchange(last.number, number);
}
"""
# Nothing asks for steps of more than one, for odd numbers, and for what becomes of the second one. From
# line 21 on, only what is the source's is changed.
TESTS = """\
#include <gtest/gtest.h>
void setBoth(int&, int&);
int limited(int);
int steps(int);
bool isEven(int);
struct Shape {
    virtual ~Shape();
};
struct Square : Shape {};
int caught(int);
Doubling* doubling();
Spreading* spreading();
int named(Letter);
int several(int);
void note(std::atomic<int>&, int);
int noted(std::atomic<bool>&, std::atomic<int>&);
int* row(unsigned);
void drop(int*);
void drop(Shape*);
void dropTaken(int*&);
int notedApart(int&);
int seen(int);
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
TEST(Small, AShapeIsDeleted) { drop(new Square); }
TEST(Small, OddNumbersAreNotCaught) {
    EXPECT_EQ(caught(5), 5);
    EXPECT_EQ(caught(4), 3);
}
TEST(Small, Doubles) { EXPECT_EQ(doubling()(3), 6); }
TEST(Small, Spreads) { EXPECT_EQ(spreading()(3).numbers[4], 3); }
TEST(Small, NamesLetters) {
    EXPECT_EQ(named(Letter::a), 10);
    EXPECT_EQ(named(Letter::b), 20);
    EXPECT_EQ(named(Letter::c), 30);
    EXPECT_EQ(named(static_cast<Letter>(3)), 0);
}
TEST(Small, SquaresAreSeveral) {
    EXPECT_EQ(several(0), 0);
    EXPECT_EQ(several(1), 10);
    EXPECT_EQ(several(4), 20);
    EXPECT_EQ(several(9), 30);
    EXPECT_EQ(several(5), 0);
}
TEST(Small, TheLastIsNoted) {
    std::atomic<bool> is{true};
    std::atomic<int> last;
    note(last, 5);
    EXPECT_EQ(noted(is, last), 5);
    is = false;
    EXPECT_EQ(noted(is, last), 0);
}
TEST(Small, ARowIsDropped) {
    drop(row(2));
    int* numbers = row(2);
    dropTaken(numbers);
    EXPECT_EQ(numbers, nullptr);
}
TEST(Small, TheLastIsNotedApart) {
    int last = 7;
    EXPECT_EQ(notedApart(last), 0);
    EXPECT_EQ(last, 4);
}
TEST(Small, TheLastIsSeen) {
    EXPECT_EQ(seen(1), 3);
    EXPECT_EQ(seen(2), 1);
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
27 branch taken: killed
27 branch not taken: killed
27 constant 1 changed: killed
34 branch taken: survived
34 call of delete removed: survived
43 call of owned removed: killed
45 call of set removed: killed
47 constant 1 changed: killed
53 call of spreading removed: killed
56 branch taken: killed
56 branch not taken: killed
56 branch taken: killed
56 branch not taken: killed
56 branch not taken: killed
56 constant 1 changed: killed
56 constant 2 changed: killed
58 constant 10 changed: killed
60 constant 20 changed: killed
62 constant 30 changed: killed
64 constant 0 changed: killed
67 branch taken: killed
67 branch not taken: killed
67 branch taken: killed
67 branch not taken: killed
67 branch taken: killed
67 branch not taken: killed
67 constant 1 changed: killed
67 constant 4 changed: killed
67 constant 9 changed: killed
69 constant 10 changed: killed
71 constant 20 changed: killed
73 constant 30 changed: killed
75 constant 0 changed: killed
83 branch taken: killed
83 branch not taken: killed
83 constant 0 changed: killed
85 call of new[] removed: killed
86 branch taken: survived
86 call of delete[] removed: survived
88 branch taken: survived
88 virtual call removed: survived
91 branch taken: killed
91 branch not taken: survived
93 branch taken: survived
93 call of delete[] removed: survived
97 constant 0 changed: killed
99 constant 4 changed: killed
103 constant 3 changed: killed
105 constant 0 changed: survived
"""


def test_program(compiler, name, source, objects, folder):
    (folder / f"{name}.cpp").write_text(source)
    options = ["-O0", "-include", folder / "declared.h"]
    mutate.run([compiler, *options, "-c", folder / f"{name}.cpp", "-o", folder / f"{name}.test.o"])
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
        (folder / "declared.h").write_text(DECLARED)
        (folder / "library.cpp").write_text(LIBRARY)
        sources = mutate.Sources(folder)
        command = f"{compiler} -std=c++20 -O0 -g1 -fPIC -include declared.h -o library.o -c library.cpp"
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
