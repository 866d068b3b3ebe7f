#include <gtest/gtest.h>

#include "foundation/vector/CpuFeatures.h"

namespace vorun::dispatch {
namespace {

CpuFeatures upToSse42() {
    CpuFeatures features;
    features.ssse3 = true;
    features.sse41 = true;
    features.sse42 = true;
    return features;
}

CpuFeatures upToAvx2() {
    CpuFeatures features = upToSse42();
    features.movbe = true;
    features.avx = true;
    features.avx2 = true;
    features.fma = true;
    features.savesAvx = true;
    return features;
}

CpuFeatures serverAvx512() {
    CpuFeatures features = upToAvx2();
    features.savesAvx512 = true;
    features.avx512f = true;
    features.avx512cd = true;
    features.avx512bw = true;
    features.avx512dq = true;
    features.avx512vl = true;
    return features;
}

TEST(DispatchIndex, Is0WithoutAnythingBeyondTheBaseline) {
    EXPECT_EQ(dispatchIndexFor(CpuFeatures{}), 0);
}

TEST(DispatchIndex, Is1ForAnyOfSsse3MovbeAndSse41) {
    for (bool CpuFeatures::*const feature :
         {&CpuFeatures::ssse3, &CpuFeatures::movbe, &CpuFeatures::sse41}) {
        CpuFeatures features;
        features.*feature = true;
        EXPECT_EQ(dispatchIndexFor(features), 1);
    }
}

TEST(DispatchIndex, Is2ForSse42) {
    EXPECT_EQ(dispatchIndexFor(upToSse42()), 2);
}

TEST(DispatchIndex, Is3ForAvxThatTheSystemSaves) {
    CpuFeatures features = upToSse42();
    features.avx = true;
    EXPECT_EQ(dispatchIndexFor(features), 2) << "the system does not save the registers";
    features.savesAvx = true;
    EXPECT_EQ(dispatchIndexFor(features), 3);
}

TEST(DispatchIndex, Is4ForAvx2ThatTheSystemSaves) {
    CpuFeatures features = upToAvx2();
    EXPECT_EQ(dispatchIndexFor(features), 4);
    features.savesAvx = false;
    EXPECT_EQ(dispatchIndexFor(features), 2);
}

TEST(DispatchIndex, Is3WithoutTheFusedMultiplyAdd) {
    for (CpuFeatures features : {upToAvx2(), serverAvx512()}) {
        features.fma = false;
        EXPECT_EQ(dispatchIndexFor(features), 3);
    }
}

TEST(DispatchIndex, Is4ForTheManyCoreAvx512Set) {
    CpuFeatures features = upToAvx2();
    features.avx2 = false;
    features.savesAvx512 = true;
    features.avx512f = true;
    features.avx512cd = true;
    features.avx512er = true;
    EXPECT_EQ(dispatchIndexFor(features), 3) << "PF is missing";
    features.avx512pf = true;
    EXPECT_EQ(dispatchIndexFor(features), 4);
    features.savesAvx512 = false;
    EXPECT_EQ(dispatchIndexFor(features), 3) << "the system does not save the registers";
}

TEST(DispatchIndex, Is5ForTheServerAvx512SetAlone) {
    EXPECT_EQ(dispatchIndexFor(serverAvx512()), 5);
    for (bool CpuFeatures::*const feature :
         {&CpuFeatures::avx512f, &CpuFeatures::avx512cd, &CpuFeatures::avx512bw,
          &CpuFeatures::avx512dq, &CpuFeatures::avx512vl, &CpuFeatures::savesAvx512}) {
        CpuFeatures features = serverAvx512();
        features.*feature = false;
        EXPECT_EQ(dispatchIndexFor(features), 4);
    }
}

TEST(CpuFeatures, DetectionIsConsistentWithItself) {
    const CpuFeatures features = detectCpuFeatures();
    // Every 64-bit processor that has the later set has the earlier one.
    EXPECT_TRUE(!features.sse42 || features.sse41);
    EXPECT_TRUE(!features.avx512bw || features.avx512f);
    EXPECT_TRUE(!features.savesAvx512 || features.savesAvx);
    EXPECT_GE(dispatchIndexFor(features), 0);
}

#if defined(__GNUC__) && !defined(__clang__)
// The compiler's run-time library asks the processor by code of its own.
TEST(CpuFeatures, DetectionAgreesWithTheCompilersLibrary) {
    __builtin_cpu_init();
    const CpuFeatures features = detectCpuFeatures();
    EXPECT_EQ(features.ssse3, __builtin_cpu_supports("ssse3") != 0);
    EXPECT_EQ(features.sse41, __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_EQ(features.sse42, __builtin_cpu_supports("sse4.2") != 0);
    EXPECT_EQ(features.avx && features.savesAvx, __builtin_cpu_supports("avx") != 0);
    EXPECT_EQ(features.fma && features.savesAvx, __builtin_cpu_supports("fma") != 0);
    EXPECT_EQ(features.avx2 && features.savesAvx, __builtin_cpu_supports("avx2") != 0);
    const auto wide = [&](bool feature) { return feature && features.savesAvx512; };
    EXPECT_EQ(wide(features.avx512f), __builtin_cpu_supports("avx512f") != 0);
    EXPECT_EQ(wide(features.avx512cd), __builtin_cpu_supports("avx512cd") != 0);
    EXPECT_EQ(wide(features.avx512bw), __builtin_cpu_supports("avx512bw") != 0);
    EXPECT_EQ(wide(features.avx512dq), __builtin_cpu_supports("avx512dq") != 0);
    EXPECT_EQ(wide(features.avx512vl), __builtin_cpu_supports("avx512vl") != 0);
    EXPECT_EQ(wide(features.avx512er), __builtin_cpu_supports("avx512er") != 0);
    EXPECT_EQ(wide(features.avx512pf), __builtin_cpu_supports("avx512pf") != 0);
}
#endif

}  // namespace
}  // namespace vorun::dispatch
