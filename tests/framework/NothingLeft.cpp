#include "tests/framework/NothingLeft.h"

#include "framework/zel/PtrInterface.h"
#include "framework/zel/TypeNode.h"

std::map<std::string, Zel::U64> liveObjects() {
    std::map<std::string, Zel::U64> live;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous()) {
        if (const Zel::U64 count = type->allocations().liveCount())
            live[std::string(type->name())] += count;
    }
    return live;
}

NoObjectLeft::~NoObjectLeft() { EXPECT_EQ(liveObjects(), before_) << "objects were left behind"; }

NothingLeft::NothingLeft() { Zel::VFPtrInterface::threadSafePointers_ = GetParam(); }

NothingLeft::~NothingLeft() { Zel::VFPtrInterface::threadSafePointers_ = false; }

std::string nameOfCounting(testing::TestParamInfo<bool> const& info) {
    return info.param ? "atomic" : "plain";
}
