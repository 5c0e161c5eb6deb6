#pragma once

#include "tests/framework/Watcher.h"
#include "tests/model/TreeText.h"

#include <functional>
#include <string>
#include <vector>

/// Keeps what is written to entities of the model, in order: as "mst1/Et1/txUpdate[10]=5",
/// "mst1/Et1/txInfo[10]" for a record that is there afterwards, "mst1/Et1/txInfo[10] deleted", and
/// "mst1/Et1/10/stpVersion=2" for a write to that record.
class Journal {
  public:
    enum Form {
        values, ///< with the values written
        names,  ///< without: "mst1/Et1/txUpdate[10]", "mst1/Et1/10/stpVersion"
    };
    using Entity = Zel::Ptr<Zel::PtrInterface const>;

    explicit Journal(Form form = values) noexcept
        : form_(form) {}
    /// Follows the entity.
    explicit Journal(Entity const& entity, Form form = values)
        : form_(form) {
        follow(entity);
    }
    Journal(Journal const&) = delete;
    Journal& operator=(Journal const&) = delete;

    /// Watches the entity alone.
    /// @param place  what the lines begin with
    void watch(Entity const& entity, std::string const& place = "");
    /// Watches the entity and all that is or comes under it. What is removed is watched on.
    /// @param place  what the lines begin with
    void follow(Entity const& entity, std::string const& place = "");
    /// Forgets all, and watches no more.
    void close();

    /// What was written since the last time.
    TreeText::Lines take();

    /// What was written since the last time. Others may add what happened between the writes.
    TreeText::Lines lines;
    /// Called inside each notification, after its line was kept.
    std::function<void(std::string const& line)> look;

  private:
    void watch(Entity const& entity, std::string const& place, bool children);

    Form form_;
    std::vector<Watcher::Ptr> watchers_;
};

/// A watcher that calls a function with each write, in the form Journal::names. The function may do
/// anything, also destroy the watcher.
Watcher::Ptr onWrite(Journal::Entity const& entity,
                     std::function<void(std::string const& write)> react);
