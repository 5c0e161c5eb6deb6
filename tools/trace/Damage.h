#pragma once

#include "tools/trace/Octets.h"

#include <string>
#include <utility>
#include <vector>

namespace TraceTool {

/// What was found to be wrong with a trace. Keeps the first texts and counts the others, as there
/// may be one for each record.
class Damage {
  public:
    static constexpr std::size_t mostTexts = 20;

    void add(std::string text) {
        if (texts_.size() < mostTexts)
            texts_.push_back(std::move(text));
        ++count_;
    }
    bool none() const { return count_ == 0; }
    std::vector<std::string> const& texts() const { return texts_; }
    U64 count() const { return count_; }

  private:
    std::vector<std::string> texts_;
    U64 count_ = 0;
};

} // namespace TraceTool
