#include "tests/model/Faults.h"

#include "framework/zel/TypeNode.h"
#include "tests/model/AnyValue.h"

#include <vector>

using Zel::AttributeInfo;
using Zel::AttributeKind;
using Zel::AttributeOp;
using Zel::Value;

namespace {

class Planter {
  public:
    explicit Planter(unsigned number)
        : number_(number) {}

    std::optional<Fault> plant(Zel::PtrInterface& object, std::string const& path) {
        for (AttributeInfo const& attribute : object.fwkType()->attributes()) {
            if (auto fault = plant(object, attribute, path + std::string(attribute.name)))
                return fault;
        }
        return std::nullopt;
    }

  private:
    using Found = std::optional<Fault>;

    bool comesNow() { return number_-- == 0; }

    Found plant(Zel::PtrInterface& object, AttributeInfo const& attribute,
                std::string const& path) {
        const auto fault = [&](Fault::Kind kind, std::string const& at,
                               std::optional<std::string> left, std::optional<std::string> right) {
            return Fault{kind,
                         std::string(object.fwkType()->name()),
                         std::string(attribute.name),
                         {at, std::move(left), std::move(right)}};
        };
        const auto op = [&](AttributeOp operation, Value value, Value const& key = {}) {
            genericIfAttributeOp(object, attribute.id, operation, value, key);
            return value;
        };
        if (attribute.kind == AttributeKind::scalar) {
            if (!comesNow())
                return std::nullopt;
            const Value before = op(AttributeOp::read, {});
            const Value after = op(AttributeOp::write, another(attribute, before));
            return fault(Fault::wrong, path, before.text(), after.text());
        }
        if (attribute.kind != AttributeKind::collection &&
            attribute.kind != AttributeKind::valueMap)
            return std::nullopt;

        std::vector<Value> keys;
        for (const auto walk = genericIfIterator(object, attribute.id); walk->iterNonnull();
             walk->iterInc())
            keys.push_back(walk->iterKey());
        for (Value const& key : keys) {
            const std::string at = path + "[" + key.text() + "]";
            const Value element = op(AttributeOp::read, {}, key);
            if (comesNow()) {
                op(AttributeOp::del, {}, key);
                return fault(Fault::missing, at, element.text(), std::nullopt);
            }
            if (element.isObject()) {
                if (auto below = plant(*element.writableObject(), at + "."))
                    return below;
            } else if (comesNow()) {
                const Value after = op(AttributeOp::write, another(attribute, element), key);
                return fault(Fault::wrong, at, element.text(), after.text());
            }
        }
        if (!comesNow())
            return std::nullopt;
        const Value key = anyValue(*attribute.keyType, 3);
        const Value made = op(
            AttributeOp::write,
            attribute.kind == AttributeKind::valueMap ? anyValue(*attribute.valueType, 9) : Value(),
            key);
        return fault(Fault::surplus, path + "[" + key.text() + "]", std::nullopt, made.text());
    }

    static Value another(AttributeInfo const& attribute, Value const& than) {
        const Value first = anyValue(*attribute.valueType, 4);
        return first == than ? anyValue(*attribute.valueType, 5) : first;
    }

    unsigned number_;
};

} // namespace

std::string Fault::text() const {
    std::string text;
    bool inKey = false;
    for (char octet : difference.path) {
        inKey = octet == '[' || (inKey && octet != ']');
        if (!inKey && octet != ']')
            text += octet;
    }
    constexpr const char* kinds[] = {" wrong", " missing", " surplus"};
    return text + kinds[kind];
}

std::optional<Fault> plantFault(Zel::PtrInterface& root, unsigned number) {
    return Planter(number).plant(root, "");
}
