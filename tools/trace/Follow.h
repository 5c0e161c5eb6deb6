#pragma once

#include "tools/trace/Reader.h"

#include <iosfwd>

namespace TraceTool {

/// Shows what a trace has, and then, look by look, what has come since.
class Follow {
  public:
    /// All have to outlive this object.
    Follow(Reader& reader, std::ostream& out, std::ostream& errors)
        : reader_(reader)
        , out_(out)
        , errors_(errors) {}

    /// Shows the finished blocks that have come since the last look, of each lane in the order in
    /// which they began, and says how many were overwritten before it could see them.
    /// @return whether there was any
    bool look();
    /// Shows the blocks that are open and how many were seen and overwritten unseen.
    void finish();
    /// Of the last look.
    Trace const& trace() const { return trace_; }
    bool damaged() const { return damaged_; }

  private:
    void sayDamage();
    void sayOverwritten(std::vector<U64> const& written);

    Reader& reader_;
    std::ostream& out_;
    std::ostream& errors_;
    Trace trace_;
    bool looked_ = false;
    bool damaged_ = false;
    std::set<std::string> said_; ///< damage
    std::vector<U64> seen_;      ///< records of each lane
    std::vector<U64> written_;   ///< records of each lane, as they were counted at the last look
    U64 shown_ = 0;
    U64 leftOut_ = 0;
    U64 overwritten_ = 0; ///< unseen, as far as it was said
};

} // namespace TraceTool
