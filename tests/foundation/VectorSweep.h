#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <random>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "GuardedArray.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

/// Lengths around the widths of vector registers and their multiples, and of the blocks of 128.
inline constexpr std::array<std::int32_t, 31> sweptLengths = {
    1,  2,  3,  4,  5,  7,  8,  9,  11, 12, 13,  15,  16,  17,  23,  24,
    25, 31, 32, 33, 47, 48, 49, 63, 64, 65, 127, 128, 129, 257, 1000};

inline constexpr std::size_t sweptOffsets = 16;

enum class Fill { ordinary, special };

template <class Real>
Real specialValue(std::size_t i) {
    using Limits = std::numeric_limits<Real>;
    static constexpr Real values[] = {Real{0},
                                      -Real{0},
                                      Real{1},
                                      -Real{1},
                                      Limits::infinity(),
                                      -Limits::infinity(),
                                      Limits::quiet_NaN(),
                                      Limits::denorm_min(),
                                      -Limits::denorm_min(),
                                      Limits::min() / 3,
                                      Limits::min(),
                                      -Limits::min(),
                                      Limits::max(),
                                      -Limits::max(),
                                      Real{1} / 3,
                                      static_cast<Real>(1.0e-20),
                                      static_cast<Real>(-1.0e20),
                                      static_cast<Real>(88.5)};
    return values[i % std::size(values)];
}
inline constexpr std::size_t specialValueCount = 18;

/// Fills arrays with the same values in every run.
class ValueSource {
  public:
    explicit ValueSource(Fill fill) : kind(fill) {}

    void next(float& value) { value = real<float>(); }
    void next(std::uint8_t& value) { value = static_cast<std::uint8_t>(engine()); }
    void next(double& value) { value = real<double>(); }
    void next(Ipp32fc& value) { value = {real<float>(), real<float>()}; }

  private:
    template <class Real>
    Real real() {
        const std::uint32_t bits = static_cast<std::uint32_t>(engine());
        if (kind == Fill::special && bits % 4 != 0) {
            return specialValue<Real>(bits / 4 % specialValueCount);
        }
        return static_cast<Real>(bits) / Real{268435456} - Real{4};
    }

    Fill kind;
    std::minstd_rand engine{2024};
};

/// Where the result goes: into an array of its own, onto the source of that number, or onto the
/// one array that is all the sources.
inline constexpr std::size_t apart = 1000;
inline constexpr std::size_t onAllSources = 1001;

template <class Out, class... In>
std::vector<std::size_t> possiblePlacements() {
    std::vector<std::size_t> placements = {apart};
    std::size_t number = 0;
    [[maybe_unused]] const auto offer = [&](bool sameType) {
        if (sameType) {
            placements.push_back(number);
        }
        ++number;
    };
    (offer(std::is_same_v<In, Out>), ...);
    if (sizeof...(In) > 1 && (std::is_same_v<In, Out> && ...)) {
        placements.push_back(onAllSources);
    }
    return placements;
}

/// The arrays of one call.
template <class Out, class... In>
class SweepRun {
  public:
    SweepRun(ValueSource& values, std::size_t length, std::size_t offset, std::size_t placed)
        : SweepRun(std::index_sequence_for<In...>{}, values, length, offset, placed) {}

    /// Runs `call(source..., target, length)` and looks at each element with
    /// `matches(result, source...)`.
    template <class Call, class Matches>
    void check(const Call& call, const Matches& matches) {
        checkWith(std::index_sequence_for<In...>{}, call, matches);
    }

  private:
    template <std::size_t... number>
    SweepRun(std::index_sequence<number...> /*unused*/, ValueSource& values, std::size_t length,
             std::size_t offset, std::size_t placed)
        : placement(placed),
          sources(ArrayPlace{length, (offset + 5 * (number + 1)) % sweptOffsets}...),
          own(ArrayPlace{length, offset}) {
        (fill(values, std::get<number>(sources)), ...);
        if (placement == onAllSources) {
            fill(values, own);
        }
    }

    template <class T>
    static void fill(ValueSource& values, GuardedArray<T>& array) {
        for (T& value : array) {
            values.next(value);
        }
    }

    template <std::size_t number>
    auto* source() {
        auto* const array = std::get<number>(sources).data();
        if constexpr ((std::is_same_v<In, Out> && ...)) {
            return placement == onAllSources ? own.data() : array;
        } else {
            return array;
        }
    }

    template <std::size_t number>
    void findTarget(Out*& target) {
        if constexpr (std::is_same_v<std::tuple_element_t<number, std::tuple<In...>>, Out>) {
            if (number == placement) {
                target = std::get<number>(sources).data();
            }
        }
    }

    template <std::size_t number, class T>
    void checkSource(const std::vector<T>& before) {
        GuardedArray<T>& array = std::get<number>(sources);
        EXPECT_TRUE(array.isIntact()) << "source " << number;
        if (number != placement && placement != onAllSources) {
            EXPECT_EQ(std::memcmp(array.data(), before.data(), before.size() * sizeof(T)), 0)
                << "source " << number << " was changed";
        }
    }

    template <std::size_t... number, class Call, class Matches>
    void checkWith(std::index_sequence<number...> /*unused*/, const Call& call,
                   const Matches& matches) {
        const std::tuple<std::vector<In>...> before{
            std::vector<In>(source<number>(), source<number>() + own.size())...};
        Out* target = own.data();
        (findTarget<number>(target), ...);
        call(static_cast<const In*>(source<number>())..., target,
             static_cast<std::int32_t>(own.size()));
        for (std::size_t i = 0; i < own.size(); ++i) {
            if (!matches(target[i], std::get<number>(before)[i]...)) {
                ADD_FAILURE() << "element " << i << " of " << own.size();
                break;
            }
        }
        EXPECT_TRUE(own.isIntact()) << "target";
        (checkSource<number>(std::get<number>(before)), ...);
    }

    std::size_t placement;
    std::tuple<GuardedArray<In>...> sources;
    GuardedArray<Out> own;
};

/// Runs an operation at every offset and placement. Stops at the first call that fails.
template <class Out, class... In, class Call, class Matches>
void sweepLength(ValueSource& values, std::int32_t length, const Call& call, const Matches& matches,
                 const std::vector<std::size_t>& placements) {
    for (std::size_t offset = 0; offset < sweptOffsets; ++offset) {
        for (const std::size_t placement : placements) {
            SweepRun<Out, In...> run(values, static_cast<std::size_t>(length), offset, placement);
            run.check(call, matches);
            ASSERT_FALSE(testing::Test::HasFailure())
                << "length " << length << ", offset " << offset << ", placement " << placement;
        }
    }
}

/// Runs an operation over every length, offset and placement, with ordinary and special values.
template <class Out, class... In, class Call, class Matches>
void sweep(const Call& call, const Matches& matches,
           const std::vector<std::size_t>& placements = possiblePlacements<Out, In...>()) {
    for (const Fill kind : {Fill::ordinary, Fill::special}) {
        ValueSource values(kind);
        for (const std::int32_t length : sweptLengths) {
            sweepLength<Out, In...>(values, length, call, matches, placements);
            ASSERT_FALSE(testing::Test::HasFailure())
                << (kind == Fill::special ? "special values" : "ordinary values");
        }
    }
}

}  // namespace vorun
