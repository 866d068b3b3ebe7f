// Vector operations at row lengths of the engine, once for each dispatch index of the processor.
#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/vector/VectorDispatch.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {
namespace {

// The arrays that the operations of one length work on, filled with ordinary levels.
struct Rows {
    explicit Rows(std::int32_t length)
        : len(length),
          a(sizeOf(length)),
          b(sizeOf(length)),
          d(sizeOf(length)),
          wideA(sizeOf(length)),
          wideB(sizeOf(length)) {
        for (std::size_t i = 0; i < a.size(); ++i) {
            a[i] = 0.5F + 0.001F * static_cast<float>(i % 911);
            b[i] = 1.5F - 0.001F * static_cast<float>(i % 701);
            wideA[i] = static_cast<double>(a[i]);
            wideB[i] = static_cast<double>(b[i]);
        }
    }

    const Ipp32fc* complexA() const { return reinterpret_cast<const Ipp32fc*>(a.data()); }
    const Ipp32fc* complexB() const { return reinterpret_cast<const Ipp32fc*>(b.data()); }
    Ipp32fc* complexD() { return reinterpret_cast<Ipp32fc*>(d.data()); }

    // Twice the length, so that complex rows fit.
    static std::size_t sizeOf(std::int32_t length) { return 2 * static_cast<std::size_t>(length); }

    std::int32_t len;
    std::vector<float> a;
    std::vector<float> b;
    std::vector<float> d;
    std::vector<double> wideA;
    std::vector<double> wideB;
    float sum = 0.0F;
    double wideSum = 0.0;
};

using Operation = IppStatus (*)(Rows&);

struct Entry {
    const char* name;
    Operation run;
};

constexpr Entry entries[] = {
    {"Copy_8u",
     [](Rows& r) {
         return ippsCopy_8u(reinterpret_cast<const std::uint8_t*>(r.a.data()),
                            reinterpret_cast<std::uint8_t*>(r.d.data()), 4 * r.len);
     }},
    {"Set_32f", [](Rows& r) { return ippsSet_32f(1.5F, r.d.data(), r.len); }},
    {"Set_32fc",
     [](Rows& r) {
         return ippsSet_32fc({1.5F, 0.5F}, r.complexD(), r.len);
     }},
    {"Zero_32f", [](Rows& r) { return ippsZero_32f(r.d.data(), r.len); }},
    {"Add_32f", [](Rows& r) { return ippsAdd_32f(r.a.data(), r.b.data(), r.d.data(), r.len); }},
    {"Sub_32f", [](Rows& r) { return ippsSub_32f(r.a.data(), r.b.data(), r.d.data(), r.len); }},
    {"Mul_32f", [](Rows& r) { return ippsMul_32f(r.a.data(), r.b.data(), r.d.data(), r.len); }},
    {"Div_32f", [](Rows& r) { return ippsDiv_32f(r.a.data(), r.b.data(), r.d.data(), r.len); }},
    {"AddC_32f", [](Rows& r) { return ippsAddC_32f(r.a.data(), 0.7F, r.d.data(), r.len); }},
    {"SubC_32f", [](Rows& r) { return ippsSubC_32f(r.a.data(), 0.7F, r.d.data(), r.len); }},
    {"MulC_32f", [](Rows& r) { return ippsMulC_32f(r.a.data(), 0.7F, r.d.data(), r.len); }},
    {"AddProduct_32f",
     [](Rows& r) { return ippsAddProduct_32f(r.a.data(), r.b.data(), r.d.data(), r.len); }},
    {"AddProductC_32f",
     [](Rows& r) { return ippsAddProductC_32f(r.a.data(), 0.7F, r.d.data(), r.len); }},
    {"Add_32fc",
     [](Rows& r) { return ippsAdd_32fc(r.complexA(), r.complexB(), r.complexD(), r.len); }},
    {"Sub_32fc",
     [](Rows& r) { return ippsSub_32fc(r.complexA(), r.complexB(), r.complexD(), r.len); }},
    {"Mul_32fc",
     [](Rows& r) { return ippsMul_32fc(r.complexA(), r.complexB(), r.complexD(), r.len); }},
    {"MulC_32fc",
     [](Rows& r) {
         return ippsMulC_32fc(r.complexA(), {0.7F, 0.2F}, r.complexD(), r.len);
     }},
    {"Magnitude_32fc", [](Rows& r) { return ippsMagnitude_32fc(r.complexA(), r.d.data(), r.len); }},
    {"Phase_32fc", [](Rows& r) { return ippsPhase_32fc(r.complexA(), r.d.data(), r.len); }},
    {"PolarToCart_32fc",
     [](Rows& r) { return ippsPolarToCart_32fc(r.a.data(), r.b.data(), r.complexD(), r.len); }},
    {"Exp_32f", [](Rows& r) { return ippsExp_32f(r.a.data(), r.d.data(), r.len); }},
    {"Ln_32f", [](Rows& r) { return ippsLn_32f(r.a.data(), r.d.data(), r.len); }},
    {"Threshold_LTVal_32f",
     [](Rows& r) { return ippsThreshold_LTVal_32f(r.a.data(), r.d.data(), r.len, 0.9F, 0.9F); }},
    {"Threshold_GTVal_32f",
     [](Rows& r) { return ippsThreshold_GTVal_32f(r.a.data(), r.d.data(), r.len, 0.9F, 0.9F); }},
    {"Threshold_LTValGTVal_32f",
     [](Rows& r) {
         return ippsThreshold_LTValGTVal_32f(r.a.data(), r.d.data(), r.len, 0.7F, 0.7F, 1.1F, 1.1F);
     }},
    {"Norm_L2_32f", [](Rows& r) { return ippsNorm_L2_32f(r.a.data(), r.len, &r.sum); }},
    {"DotProd_32f", [](Rows& r) { return ippsDotProd_32f(r.a.data(), r.b.data(), r.len, &r.sum); }},
    {"DotProd_64f",
     [](Rows& r) { return ippsDotProd_64f(r.wideA.data(), r.wideB.data(), r.len, &r.wideSum); }},
    {"Convert_32f64f",
     [](Rows& r) { return ippsConvert_32f64f(r.a.data(), r.wideA.data(), r.len); }},
    {"Convert_64f32f",
     [](Rows& r) { return ippsConvert_64f32f(r.wideA.data(), r.d.data(), r.len); }},
};

void runOperation(benchmark::State& state, Operation operation, int index) {
    if (!dispatch::forceIndex(index)) {
        state.SkipWithError("this processor cannot run the index");
        return;
    }
    Rows rows(static_cast<std::int32_t>(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(operation(rows));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetLabel(dispatch::variantName(index));
    dispatch::forceIndex(dispatch::undetectedIndex);
}

// An index is listed only if another variant serves it than the one before.
bool isNewVariant(int index) {
    return index == 0 ||
           std::string(dispatch::variantName(index)) != dispatch::variantName(index - 1);
}

const bool registered = [] {
    for (const Entry& entry : entries) {
        for (int index = 0; index <= dispatch::largestIndex(); ++index) {
            if (isNewVariant(index)) {
                const std::string name =
                    std::string("vector/") + entry.name + "/index:" + std::to_string(index);
                benchmark::RegisterBenchmark(name.c_str(), runOperation, entry.run, index)
                    ->ArgName("length")
                    ->Arg(16)
                    ->Arg(33)
                    ->Arg(256)
                    ->Arg(1025)
                    ->Arg(4096);
            }
        }
    }
    return true;
}();

}  // namespace
}  // namespace vorun
