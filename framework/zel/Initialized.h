#pragma once

namespace Zel {

/// A base of the reactors and root syncers that have `handleInitialized()`: whether that has come
/// to its end, which sets this.
class Initialized {
  public:
    bool initialized() const noexcept { return initialized_; }
    void initializedIs(bool initialized) noexcept { initialized_ = initialized; }

  private:
    bool initialized_ = false;
};

} // namespace Zel
