#include "framework/zel/Reinstantiation.h"

#include "framework/zel/Exception.h"

namespace Zel {

void throwReinstantiation(std::string_view parameter, String const& value, String const& current) {
    throwNameInUseException(
        String("Reinstantiating the pointer interface where constructor parameter attribute _")
            .merge(parameter, " has a different value of ", value, " than the current value of ",
                   current, " not allowed"));
}

} // namespace Zel
