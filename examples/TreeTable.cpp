#include "examples/TreeTable.h"

namespace Examples {

void TreeTable::line(std::string_view name, std::string_view left, std::string_view right) {
    constexpr std::size_t leftBegin = 34;
    constexpr std::size_t rightBegin = leftBegin + 31;

    std::string text(2UL * depth_, ' ');
    const auto add = [&text](std::size_t column, std::string_view value) {
        if (value.empty())
            return;
        if (text.size() < column)
            text.resize(column, ' ');
        else if (column != 0)
            text += "\n" + std::string(column, ' ');
        text += value;
    };
    add(0, name);
    add(leftBegin, left);
    add(rightBegin, right);
    out_ << text << "\n";
}

void TreeTable::compare(std::string_view name, Shown const& left, Shown const& right) {
    line(name, left.value_or("-"), right.value_or("-"));
    equal_ = equal_ && left == right;
}

} // namespace Examples
