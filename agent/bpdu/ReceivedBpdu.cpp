#include "agent/bpdu/ReceivedBpdu.h"

namespace Agent {

std::string_view MstConfigurationId::nameText() const noexcept {
    std::size_t size = name.size();
    while (size > 0 && name[size - 1] == 0)
        --size;
    return {reinterpret_cast<const char*>(name.data()), size};
}

} // namespace Agent
