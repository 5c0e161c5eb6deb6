#include "bench/PlainRecord.h"
#include "bench/Rows.h"
#include "bpdu/VarnolCommon.h"

/// copy_record: a record is copied onto another that has the same instances and no reactors.
namespace Bench {
namespace {

class Library {
  public:
    explicit Library(unsigned instances)
        : from_(libraryRecord(instances))
        , to_(libraryRecord(instances)) {}
    void operator()(unsigned i) {
        from_->configRevisionLevelIs(static_cast<U16>(i));
        Varnol::copyIntxInfo(from_, to_);
        benchmark::DoNotOptimize(to_->configRevisionLevel());
    }
    std::string result() const { return text(*to_); }

  private:
    Varnol::IntxInfo::Ptr from_;
    Varnol::IntxInfo::Ptr to_;
};

class ByHand {
  public:
    explicit ByHand(unsigned instances)
        : from_(std::make_unique<PlainRecord>(plainRecord(instances)))
        , to_(std::make_unique<PlainRecord>(plainRecord(instances))) {}
    void operator()(unsigned i) {
        from_->values.configRevisionLevel = static_cast<U16>(i);
        benchmark::DoNotOptimize(from_.get());
        benchmark::ClobberMemory();
        copy(*from_, *to_);
        benchmark::DoNotOptimize(to_->values.configRevisionLevel);
        benchmark::ClobberMemory();
    }
    std::string result() const { return text(*to_); }

  private:
    std::unique_ptr<PlainRecord> from_;
    std::unique_ptr<PlainRecord> to_;
};

} // namespace

void copyRecord(Rows& rows) {
    for (const unsigned instances : {1U, 16U}) {
        const std::string work = "copy_record_" + std::to_string(instances);
        rows.add<Library>("varnol/" + work, {}, instances);
        rows.add<ByHand>("floor/" + work, {}, instances);
    }
}

} // namespace Bench
