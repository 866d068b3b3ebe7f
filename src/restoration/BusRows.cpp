#include "restoration/BusRows.h"

#include <array>

#include "foundation/vector/CheckedCall.h"
#include "restoration/BinBlocks.h"
#include "restoration/MaskShaping.h"

namespace vorun {

namespace {

using Block = std::array<Ipp32fc, blockBins>;

/** The two sums over the buses for up to blockBins bins. */
class BlockSums {
  public:
    BlockSums(Ipp32fc* mix, std::int32_t bins) : mix_(mix), bins_(bins) {}

    /** The bus must stay as it is until the next one is added. */
    void add(const Ipp32fc* bus, float gain) {
        if (sum_ == nullptr) {
            sum_ = bus;
            checkStatus(ippsMulC_32fc(bus, {gain, 0.0f}, mix_, bins_));
            return;
        }
        checkStatus(ippsAdd_32fc(sum_, bus, total_.data(), bins_));
        sum_ = total_.data();
        addToMix(bus, gain);
    }

    void addToMix(const Ipp32fc* term, float gain) {
        Block weighted;
        checkStatus(ippsMulC_32fc(term, {gain, 0.0f}, weighted.data(), bins_));
        checkStatus(ippsAdd_32fc(mix_, weighted.data(), mix_, bins_));
    }

    /** whole - sum */
    void subtractFrom(const Ipp32fc* whole, Ipp32fc* difference) const {
        checkStatus(ippsSub_32fc(sum_, whole, difference, bins_));
    }

  private:
    Ipp32fc* mix_;
    std::int32_t bins_;
    const Ipp32fc* sum_ = nullptr;
    Block total_;
};

constexpr Block ones = [] {
    Block block{};
    block.fill({1.0f, 0.0f});
    return block;
}();

}  // namespace

void mixMasks(std::span<const BusRow> buses, BusLevel residual, Ipp32fc* mix, std::int32_t bins) {
    inBlocks(bins, [&](std::int32_t first, std::int32_t count) {
        BlockSums sums(mix + first, count);
        // The sums hold on to the first bus until they have a second one.
        std::array<Block, 2> shaped;
        for (const BusRow& bus : buses) {
            Ipp32fc* mask = shaped[&bus == buses.data() ? 0 : 1].data();
            reshapeRow(bus.bins + first, mask, count, bus.level.exponent);
            sums.add(mask, bus.level.gain);
        }
        Block complement;
        sums.subtractFrom(ones.data(), complement.data());
        reshapeRow(complement.data(), complement.data(), count, residual.exponent);
        sums.addToMix(complement.data(), residual.gain);
    });
}

void mixSpectra(std::span<const BusRow> buses, BusLevel residual, const Ipp32fc* dry, Ipp32fc* mix,
                std::int32_t bins) {
    inBlocks(bins, [&](std::int32_t first, std::int32_t count) {
        BlockSums sums(mix + first, count);
        for (const BusRow& bus : buses) {
            sums.add(bus.bins + first, bus.level.gain);
        }
        Block rest;
        sums.subtractFrom(dry + first, rest.data());
        sums.addToMix(rest.data(), residual.gain);
    });
}

}  // namespace vorun
