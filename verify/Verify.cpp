#include "verify/Verify.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

namespace Verify {
namespace {

U64 numberIn(std::string_view text) {
    U64 number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0)
        throw std::invalid_argument("not a number above 0: " + std::string(text));
    return number;
}

} // namespace

void found(std::string const& what) { throw Found(what); }

int Run::main(int argc, char** argv, std::string (*work)(Run& run)) {
    Run run;
    try {
        for (int i = 1; i < argc; i += 2) {
            const std::string_view option = argv[i];
            if (i + 1 == argc || (option != "--seed" && option != "--part"))
                throw std::invalid_argument("usage: [--seed N] [--part N]");
            (option == "--seed" ? run.seed_ : run.part_) = numberIn(argv[i + 1]);
        }
    } catch (std::invalid_argument const& wrong) {
        std::cerr << argv[0] << ": " << wrong.what() << "\n";
        return 2;
    }
    run.random_.seed(run.seed_);
    try {
        const std::string figure = work(run);
        std::cout << "seed: " << run.seed_ << "\nfigure: " << figure << std::endl;
    } catch (std::exception const& fault) {
        std::cerr << argv[0] << ": with seed " << run.seed_ << ": " << fault.what() << std::endl;
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

std::string grouped(U64 number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3; place -= 3)
        text.insert(place - 3, 1, ',');
    return text;
}

} // namespace Verify
