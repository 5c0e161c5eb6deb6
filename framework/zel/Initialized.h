#pragma once

namespace Zel {

/// A base of the reactors and root syncers that have `handleInitialized()`: whether that has come
/// to its end, which sets this.
class Initialized {
  public:
    /// False until then.
    bool initialized() const noexcept { return initialized_; }
    /// For handleInitialized(), as its last step.
    void initializedIs(bool initialized) noexcept { initialized_ = initialized; }

  private:
    bool initialized_ = false;
};

} // namespace Zel
