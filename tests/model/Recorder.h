#pragma once

#include "framework/zel/Entity.h"
#include "framework/zel/Object.h"

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// A reactor on a record or an entry that keeps what it is told; memory for some calls is there
/// from the beginning.
template <class E> class Recorder final : public Zel::Object<Recorder<E>, Zel::NotifieeConstOf<E>> {
  public:
    static Zel::TypeNode const _zelType;

    struct Call {
        Zel::AttributeId id;
        /// The key, as the number that it is; none for a null key.
        std::optional<unsigned> key;

        friend bool operator==(Call const&, Call const&) = default;
    };

    /// @param look  called inside each notification, before it is kept
    explicit Recorder(std::function<void(E const&)> look = {})
        : look_(std::move(look)) {
        calls_.reserve(64);
    }

    void onAttribute(Zel::AttributeId id, void const* key) override {
        if (look_)
            look_(*this->watched());
        Call call{id, std::nullopt};
        Zel::dispatchAttribute<E>(id, [&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::CollectionAttribute<A>) {
                if (key)
                    call.key = static_cast<typename A::Key const*>(key)->value();
            } else {
                EXPECT_EQ(key, nullptr) << A::name << " is no collection and has no key";
            }
        });
        calls_.push_back(call);
    }

    /// The notifications since the last time.
    std::vector<Call> take() {
        const std::vector<Call> calls = calls_;
        calls_.clear();
        return calls;
    }

  private:
    std::function<void(E const&)> look_;
    std::vector<Call> calls_;
};

template <class E> constinit Zel::TypeNode const Recorder<E>::_zelType{"Recorder", {}};

/// A recorder that watches the entity.
template <class E>
Zel::Ptr<Recorder<E>> watch(Zel::Ptr<E> const& entity, std::function<void(E const&)> look = {}) {
    auto recorder = Zel::newActive<Recorder<E>>(std::move(look));
    recorder->notifierIs(entity);
    return recorder;
}
