#include "framework/fennic/FunctionName.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <compare>
#include <string>
#include <string_view>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using Fennic::functionName;

struct Case {
    std::string_view signature;
    std::string_view name;
};

/// A table is checked when it is compiled, so that the stripping is known to be constant-evaluable,
/// and case by case when it runs, so that a failure names its case.
template <std::size_t size> constexpr bool holds(std::array<Case, size> const& cases) {
    for (Case const& one : cases) {
        if (functionName(one.signature) != one.name)
            return false;
    }
    return true;
}

template <std::size_t size> void expect(std::array<Case, size> const& cases) {
    for (Case const& one : cases)
        EXPECT_EQ(functionName(one.signature), one.name) << one.signature;
}

// Signatures as g++ 12 writes them, then as clang 14 does, where they differ.

constexpr auto functions = std::to_array<Case>({
    {"int main()", "main"},
    {"void V::f()", "V::f"},
    {"static void V::S::f(int, ...)", "V::S::f"},
    {"virtual void V::S::f()", "V::S::f"},
    {"void Varnol::TxStatusToRxSyncer::handleTxMstStatus(Zel::String)",
     "Varnol::TxStatusToRxSyncer::handleTxMstStatus"},
    {"void Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm::zel_handleTxMstStatus_x(unsigned int)",
     "Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm::zel_handleTxMstStatus_x"},
    {"V::S::S()", "V::S::S"},
    {"V::S::S(int, std::vector<int>)", "V::S::S"},
    {"virtual V::S::~S()", "V::S::~S"},
    {"void V::S::c() const", "V::S::c"},
    {"void V::S::v() volatile", "V::S::v"},
    {"void V::S::r() &&", "V::S::r"},
    {"void V::S::n() const &", "V::S::n"},
    {"void V::f(A ...) [with A = {int, char}]", "V::f"},
    {"void V::f(A...) [A = <int, char>]", "V::f"},
});

constexpr auto results = std::to_array<Case>({
    {"long unsigned int V::f()", "V::f"},
    {"V::S& V::f(S&)", "V::f"},
    {"V::S &V::f(V::S &)", "V::f"},
    {"const char* const* V::f()", "V::f"},
    {"const char *const *V::f()", "V::f"},
    {"std::vector<int>&& V::f()", "V::f"},
    {"std::vector<int> &&V::f()", "V::f"},
    {"std::vector<std::vector<int> > V::f(std::vector<std::vector<int> >)", "V::f"},
    {"std::vector<std::vector<int>> V::f(std::vector<std::vector<int>>)", "V::f"},
    {"Zel::Ptr<Varnol::S::N> Varnol::S::N::f()", "Varnol::S::N::f"},
    {"std::function<void(int)> V::f()", "V::f"},
    {"std::function<void (int)> V::f()", "V::f"},
    {"int V::S::* V::f()", "V::f"},
    {"int V::S::*V::f()", "V::f"},
    {"void (* V::f(int))(double)", "V::f"},
    {"void (*V::f(int))(double)", "V::f"},
    {"void (* (* V::f(int))(double))(char)", "V::f"},
    {"void (*(*V::f(int))(double))(char)", "V::f"},
    {"void (V::S::* V::f(int))(int)", "V::f"},
    {"void (V::S::*V::f(int))(int)", "V::f"},
    {"void ((anonymous namespace)::S::*V::f(int))(int)", "V::f"},
    {"int (T::* V::H<T>::f())(int) const [with T = V::S]", "V::H<T>::f"},
    {"int (& V::f(int))[3]", "V::f"},
    {"int (&V::f(int))[3]", "V::f"},
    {"auto V::f()", "V::f"},
    {"decltype(auto) V::f()", "V::f"},
    {"decltype ((t + 1)) V::f(T) [with T = int; decltype ((t + 1)) = int]", "V::f"},
    {"<dependent type> V::f(T) [T = int]", "V::f"},
    {"typename T::value_type V::f(T) [with T = V::S; typename T::value_type = char]", "V::f"},
    {"std::enable_if_t<(sizeof (T) > 1), int> V::f(T) [with T = int]", "V::f"},
    {"V::f()::L V::f()::L::g()", "V::f()::L::g"},
    {"V::f()::L V::h()", "V::h"},
    {"V::f()::<lambda()> V::h()", "V::h"},
    {"auto [requires V::C<<placeholder>, >] V::f(auto:11) [with auto:11 = int]", "V::f"},
    {"C auto V::f(C auto) [x:auto = int]", "V::f"},
});

constexpr auto templates = std::to_array<Case>({
    {"void V::f(T) [with T = int]", "V::f"},
    {"void V::f(T) [T = int]", "V::f"},
    {"void V::S<&T::operator->>::f()", "V::S<&T::operator->>::f"},
    {"void V::f(T) requires  C<T> [with T = int]", "V::f"},
    {"void V::f(T) [with T = void (*)(int)]", "V::f"},
    {"void V::f() [with void (* F)() = g]", "V::f"},
    {"void V::f() [with char C = '(']", "V::f"},
    {"void V::f() [with char C = '\\'']", "V::f"},
    {"T& V::f(T&) [with T = int]", "V::f"},
    {"T V::f() [with T = V::S::N<int>]", "V::f"},
    {"std::vector<T> V::f() [with T = int; int N = 3]", "V::f"},
    {"void V::S::D<T>::f(T) [with T = std::map<int, std::vector<int> >]", "V::S::D<T>::f"},
    {"void V::S::D<std::map<int, std::vector<int>>>::f(T) [T = std::map<int, std::vector<int>>]",
     "V::S::D<std::map<int, std::vector<int>>>::f"},
    {"void V::S::D<int (*)(int)>::f(T) [T = int (*)(int)]", "V::S::D<int (*)(int)>::f"},
    {"U V::D<T>::g(U) const [with U = void (*)(int); T = int]", "V::D<T>::g"},
    {"U V::D<int>::g(U) const [T = int, U = void (*)(int)]", "V::D<int>::g"},
    {"void V::D<'<'>::f() [V = '<']", "V::D<'<'>::f"},
    {"void V::D<')'>::f() [V = ')']", "V::D<')'>::f"},
    {"void V::D<&V::g>::f() [V = &V::g]", "V::D<&V::g>::f"},
    {"void V::f(D<(N < 2)>) [with int N = 1]", "V::f"},
    {"V::D<(N > 2)> V::f() [with int N = 1]", "V::f"},
    {"V::Ptr<T>::Ptr() [with T = V::S]", "V::Ptr<T>::Ptr"},
    {"V::Ptr<V::S>::~Ptr() [T = V::S]", "V::Ptr<V::S>::~Ptr"},
});

constexpr auto operators = std::to_array<Case>({
    {"bool V::S::operator==(const V::S&) const", "V::S::operator=="},
    {"bool V::S::operator==(const V::S &) const", "V::S::operator=="},
    {"bool V::S::operator<(const V::S&) const", "V::S::operator<"},
    {"bool V::S::operator>(int)", "V::S::operator>"},
    {"bool V::S::operator<=(int)", "V::S::operator<="},
    {"std::strong_ordering V::S::operator<=>(int) const", "V::S::operator<=>"},
    {"V::S& V::S::operator<<(T) [with T = int]", "V::S::operator<<"},
    {"V::S &V::S::operator>>(int)", "V::S::operator>>"},
    {"int V::S::operator()() const", "V::S::operator()"},
    {"void V::S::operator()(int)", "V::S::operator()"},
    {"int V::S::operator[](int)", "V::S::operator[]"},
    {"T* V::Ptr<T>::operator->() const [with T = V::S]", "V::Ptr<T>::operator->"},
    {"int V::S::operator->*(int)", "V::S::operator->*"},
    {"V::S &V::S::operator,(int)", "V::S::operator,"},
    {"V::S& V::operator*(S&)", "V::operator*"},
    {"bool V::operator&&(S, S)", "V::operator&&"},
    {"V::S V::operator~(S)", "V::operator~"},
    {"V::S& V::operator%=(S&, int)", "V::operator%="},
    {"V::S V::operator\"\"_km(long long unsigned int)", "V::operator\"\"_km"},
    {"static void* V::S::operator new(size_t)", "V::S::operator new"},
    {"static void* V::S::operator new [](size_t)", "V::S::operator new []"},
    {"static void *V::S::operator new[](size_t)", "V::S::operator new[]"},
    {"static void V::S::operator delete(void*)", "V::S::operator delete"},
    {"bool V::TT<T>::operator<(const V::TT<T>&) const [with T = int]", "V::TT<T>::operator<"},
    {"bool V::TT<int>::operator<(const TT<T> &) const [T = int]", "V::TT<int>::operator<"},
    {"V::S::operator long unsigned int() const", "V::S::operator long unsigned int"},
    {"unsigned long V::S::operator unsigned long() const", "V::S::operator unsigned long"},
    {"V::S::operator std::vector<int>() const", "V::S::operator std::vector<int>"},
    {"V::S::operator const int&() const", "V::S::operator const int&"},
    {"const int &V::S::operator const int &() const", "V::S::operator const int &"},
    {"V::Ptr<T>::operator T*() [with T = V::S]", "V::Ptr<T>::operator T*"},
    {"T *V::Ptr<V::S>::operator V::S *() [T = V::S]", "V::Ptr<V::S>::operator V::S *"},
    {"V::S::F V::S::operator void (*)(int)() const", "V::S::operator void (*)(int)"},
    {"V::S::F V::S::operator void (V::S::*)(int) const() const",
     "V::S::operator void (V::S::*)(int) const"},
    {"V::S::operator newer() const", "V::S::operator newer"},
    {"V::S::operator (anonymous namespace)::A *() const",
     "V::S::operator (anonymous namespace)::A *"},
    {"void V::operators()", "V::operators"},
});

constexpr auto namelessScopes = std::to_array<Case>({
    {"void {anonymous}::f()", "{anonymous}::f"},
    {"void (anonymous namespace)::f()", "(anonymous namespace)::f"},
    {"V::{anonymous}::A V::{anonymous}::B::f(int)", "V::{anonymous}::B::f"},
    {"V::(anonymous namespace)::A V::(anonymous namespace)::B::f(int)",
     "V::(anonymous namespace)::B::f"},
    {"static const V::S* V::{anonymous}::A::B::f(int)", "V::{anonymous}::A::B::f"},
    {"static const V::S *V::(anonymous namespace)::A::B::f(int)",
     "V::(anonymous namespace)::A::B::f"},
    {"void V::<unnamed struct>::f()", "V::<unnamed struct>::f"},
    {"void V::(anonymous struct)::f()", "V::(anonymous struct)::f"},
    {"(anonymous namespace)::S::S()", "(anonymous namespace)::S::S"},
});

constexpr auto withinFunctions = std::to_array<Case>({
    {"void V::S::f()::L::m()", "V::S::f()::L::m"},
    {"void V::S::f() const::L::m()", "V::S::f() const::L::m"},
    {"V::S::f()::<lambda(int)>", "V::S::f()::<lambda(int)>"},
    {"auto V::S::f()::(anonymous class)::operator()(int) const",
     "V::S::f()::(anonymous class)::operator()"},
    {"V::S::f()::<lambda()> mutable", "V::S::f()::<lambda()>"},
    {"V::S::f()::<lambda(auto:11)> [with auto:11 = int]", "V::S::f()::<lambda(auto:11)>"},
    {"auto V::S::f()::(anonymous class)::operator()(auto) const [x:auto = int]",
     "V::S::f()::(anonymous class)::operator()"},
    {"V::S::f()::<lambda(int)>::<lambda()>", "V::S::f()::<lambda(int)>::<lambda()>"},
    {"auto V::S::f()::(anonymous class)::operator()(int)::(anonymous class)::operator()() const",
     "V::S::f()::(anonymous class)::operator()(int)::(anonymous class)::operator()"},
    {"V::S::f() const &::<lambda()>", "V::S::f() const &::<lambda()>"},
    {"V::S::f() &&::<lambda()>", "V::S::f() &&::<lambda()>"},
    {"V::S::f() volatile::<lambda()>", "V::S::f() volatile::<lambda()>"},
    {"V::S::operator int() const::<lambda()>", "V::S::operator int() const::<lambda()>"},
    {"V::S::operator()(int) const::<lambda()>", "V::S::operator()(int) const::<lambda()>"},
    {"V::S::operator<< <int>(int)::<lambda()>", "V::S::operator<< <int>(int)::<lambda()>"},
    {"auto V::S::operator<(int *)::(anonymous class)::operator()() const",
     "V::S::operator<(int *)::(anonymous class)::operator()"},
    {"V::TT<int>::g<double>(double)::<lambda(double)>",
     "V::TT<int>::g<double>(double)::<lambda(double)>"},
    {"<lambda(int)>", "<lambda(int)>"},
    {"auto (anonymous class)::operator()(int) const", "(anonymous class)::operator()"},
});

constexpr auto spellings = std::to_array<Case>({
    {"void V::f[a b](int)", "V::f[a b]"},
    {"void V::{unnamed type}::f()", "V::{unnamed type}::f"},
    {"decltype (f()) V::g()", "V::g"},
    {"V::S::operator+(int)::T V::f()", "V::f"},
    {"V::S::operator int()::T V::f()", "V::f"},
    {"V::S::operator (a)::B *() const", "V::S::operator (a)::B *"},
    {"V::f()::<lambda(int)> mutable::<lambda()>", "V::f()::<lambda(int)> mutable::<lambda()>"},
    {"void V::f1(int)", "V::f1"},
    {"void V::operator1(int)", "V::operator1"},
    {"void V::operator$(int)", "V::operator$"},
    {"void V::operator\xc3\xa9(int)", "V::operator\xc3\xa9"},
    {"void V::f(int (&)[3])", "V::f"},
    {"void V::f(V::D<V::S{')', 2}>)", "V::f"},
    {"void V::D<V::Text{\"})>\"}>::f()", "V::D<V::Text{\"})>\"}>::f"},
    {"std::function<auto (int) -> int> V::f()", "V::f"},
    {"void V::D<sizeof (A[2])>::f()", "V::D<sizeof (A[2])>::f"},
    {"V::S::operator new", "V::S::operator new"},
    {"int V::f(int)[with T = int]", "V::f"},
    {"int V::f(int)(double)", "V::f"},
});

static_assert(holds(functions) && holds(results) && holds(templates) && holds(operators) &&
              holds(namelessScopes) && holds(withinFunctions) && holds(spellings));

TEST(FunctionName, IsQualifiedAndWithoutResultParametersAndQualifiers) { expect(functions); }

TEST(FunctionName, IsFoundBehindEveryKindOfResult) { expect(results); }

TEST(FunctionName, KeepsTheArgumentsOfClassesAndDropsTheListOfThem) { expect(templates); }

TEST(FunctionName, OfAnOperatorIsWhole) { expect(operators); }

TEST(FunctionName, KeepsNamelessScopes) { expect(namelessScopes); }

TEST(FunctionName, KeepsTheFunctionsAround) { expect(withinFunctions); }

TEST(FunctionName, IsFoundAmongUnusualCharactersBracketsAndEnds) { expect(spellings); }

TEST(FunctionName, IsFoundWithoutReadingBehindTheSignature) {
    const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* const pages =
        ::mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    char* const end = static_cast<char*>(pages) + size;
    ASSERT_EQ(::mprotect(end, size, PROT_NONE), 0);
    for (const std::string_view whole :
         {"auto V::S<'a', \"b\\\"\">::operator()(int) const::<lambda(auto)>",
          "void* V::operator new [](std::size_t) noexcept", "V::S::operator delete",
          "bool V::S<&T::operator->>::operator<=> <int>(V::S const&) const volatile &&"}) {
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            const std::string_view part = whole.substr(0, length);
            std::ranges::copy(part, end - length);
            EXPECT_EQ(functionName({end - length, length}), functionName(std::string(part)));
        }
    }
    ::munmap(pages, 2 * size);
}

TEST(FunctionName, OfWhatIsNoSignatureIsPartOfIt) {
    for (std::string_view text : {"", "f", "f(", "f(<", "f<", "operator", "(", "'", "f('\\", "*",
                                  "<lambda(", "a::", "operator ", "[", "f() const"}) {
        const std::string_view name = functionName(text);
        EXPECT_LE(name.size(), text.size());
        EXPECT_NE(text.find(name), std::string_view::npos);
    }
}

// The parts that a name is found by.

struct Part {
    std::string_view text;
    std::size_t end;
};

template <class After> void expectEnds(After const& after, std::vector<Part> const& parts) {
    for (Part const& part : parts)
        EXPECT_EQ(after(part.text, 0), part.end) << part.text;
}

TEST(FunctionNameParts, AWordHasLettersDigitsUnderscoresDollarsAndOctetsThatAreNotAscii) {
    const std::string ascii = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_$";
    for (unsigned octet = 0; octet <= 0xff; ++octet) {
        const char c = static_cast<char>(octet);
        EXPECT_EQ(Fennic::detail::isWordCharacter(c), octet >= 0x80 || ascii.find(c) < ascii.size())
            << octet;
    }
}

TEST(FunctionNameParts, ALiteralEndsBehindItsQuoteThatHasNoBackslash) {
    expectEnds(Fennic::detail::afterLiteral, {{"'a' b", 3},
                                              {"'' b", 2},
                                              {R"('\'' b)", 4},
                                              {R"('\\' b)", 4},
                                              {R"('[\'' b)", 5},
                                              {R"("a'b" c)", 5},
                                              {"'abc", 4},
                                              {R"('a\)", 3}});
}

TEST(FunctionNameParts, AGroupEndsBehindTheBracketThatClosesItsOwn) {
    expectEnds(Fennic::detail::afterGroup, {{"(a)b)", 3},
                                            {"((a)b)c)", 6},
                                            {"(a[)]b)c)", 7},
                                            {"({)})x)", 5},
                                            {"[(])]x]", 5},
                                            {"{[}]}x}", 5},
                                            {"<a<b>c>d>", 7},
                                            {"<(>)>x>", 5},
                                            {"(a<b)c>)", 5},
                                            {"[a<b]c>]", 5},
                                            {"{a<b}c>}", 5},
                                            {"<a->b>c>", 6},
                                            {"<a-b>c>", 5},
                                            {"(')')x)", 5},
                                            {"(\")\")x)", 5},
                                            {"(a", 2}});
}

TEST(FunctionNameParts, QualifiersMayFollowInAnyOrder) {
    expectEnds(Fennic::detail::afterQualifiers, {{" const volatile &&x", 18},
                                                 {" & noexcept const x", 17},
                                                 {" mutable(", 8},
                                                 {" &x", 2},
                                                 {" x const", 0},
                                                 {"const", 0}});
}

TEST(FunctionNameParts, AnOperatorEndsBehindItsSymbolsOrItsWholeWord) {
    expectEnds(Fennic::detail::afterOperator, {{"()(int)", 2},
                                               {R"("" _s())", 3},
                                               {R"(""_s())", 2},
                                               {" new(", 4},
                                               {" new[](", 6},
                                               {" new", 4},
                                               {" newer()", 0},
                                               {" new_()", 0},
                                               {" delete(", 7},
                                               {" co_await(", 9},
                                               {" [](", 3},
                                               {"[](", 2},
                                               {"->*(", 3},
                                               {",(", 1},
                                               {"<< <int>(int)", 8},
                                               {"<<<int>(int)", 3},
                                               {" <int>(int)", 0},
                                               {" int()", 0},
                                               {"(", 0}});
}

// What the compiler at hand writes.

struct Live {
    struct Inner {
        std::vector<int> const& handle(std::vector<int> const& keys) const {
            name = functionName(__PRETTY_FUNCTION__);
            return keys;
        }
        mutable std::string name;
    };
    template <class T> struct Of {
        static std::string_view name(T, void (*)(T)) { return functionName(__PRETTY_FUNCTION__); }
    };
    Live() { name = functionName(__PRETTY_FUNCTION__); }
    std::string operator()(std::string const&) const {
        return std::string(functionName(__PRETTY_FUNCTION__));
    }
    operator int() const {
        conversion = functionName(__PRETTY_FUNCTION__);
        return 0;
    }
    std::string name;
    mutable std::string conversion;
};

#if defined(__clang__)
#define NAMELESS "(anonymous namespace)"
#else
#define NAMELESS "{anonymous}"
#endif

TEST(FunctionName, IsThatOfTheCompilerAtHand) {
    Live live;
    EXPECT_EQ(live.name, NAMELESS "::Live::Live");
    EXPECT_EQ(live(""), NAMELESS "::Live::operator()");
    EXPECT_EQ(static_cast<int>(live), 0);
    EXPECT_EQ(live.conversion, NAMELESS "::Live::operator int");
    Live::Inner inner;
    inner.handle({});
    EXPECT_EQ(inner.name, NAMELESS "::Live::Inner::handle");
    const std::string_view ofTemplate = Live::Of<long>::name(1, nullptr);
    EXPECT_TRUE(ofTemplate == NAMELESS "::Live::Of<T>::name" || ofTemplate == NAMELESS
                                                                    "::Live::Of<long>::name")
        << ofTemplate;
    const auto lambda = [](int) { return functionName(__PRETTY_FUNCTION__); };
    const std::string_view ofLambda = lambda(1);
    EXPECT_TRUE(ofLambda.starts_with(NAMELESS "::FunctionName_IsThatOfTheCompilerAtHand_Test"))
        << ofLambda;
    EXPECT_TRUE(ofLambda.ends_with("::<lambda(int)>") ||
                ofLambda.ends_with("::(anonymous class)::operator()"))
        << ofLambda;
}

} // namespace
