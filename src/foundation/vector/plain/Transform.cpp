// The real transform in plain form, over the pairs that TransformPlan.h describes. The complex
// transform of length L runs radix-4 passes, and a last radix-2 pass if log2(L) is odd, to and fro
// between two arrays; L is M. From transform::longFromOrder on, one radix-4 pass cuts the M
// numbers into four quarters of L = M / 4 first: each quarter then fits a nearer cache, and the
// work buffer of the longest transform fits the size in which it is reported.
#include "foundation/vector/TransformPlan.h"
#include "foundation/vector/VectorVariants.h"

namespace vorun::plain {

namespace {

enum class Direction { forward, inverse };

bool isQuartered(std::int32_t order) {
    return order >= transform::longFromOrder;
}

// log2(L), for orders from 1.
std::int32_t passOrder(std::int32_t order) {
    return order - (isQuartered(order) ? 3 : 1);
}

Ipp32fc add(Ipp32fc a, Ipp32fc b) {
    return {a.re + b.re, a.im + b.im};
}
Ipp32fc subtract(Ipp32fc a, Ipp32fc b) {
    return {a.re - b.re, a.im - b.im};
}
Ipp32fc conjugate(Ipp32fc a) {
    return {a.re, -a.im};
}

Ipp32fc multiply(Ipp32fc a, Ipp32fc b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// Times a factor of the plan, which are those of the forward direction.
template <Direction direction>
Ipp32fc rotate(Ipp32fc a, Ipp32fc factor) {
    return multiply(a, direction == Direction::forward ? factor : conjugate(factor));
}

// Times exp(-pi j / 2), or its conjugate for the inverse.
template <Direction direction>
Ipp32fc quarterTurn(Ipp32fc a) {
    if constexpr (direction == Direction::forward) {
        return {a.im, -a.re};
    } else {
        return {-a.im, a.re};
    }
}

struct Four {
    Ipp32fc a, b, c, d;
};

// The transform of four numbers.
template <Direction direction>
Four butterfly(Four x) {
    const Ipp32fc evenSum = add(x.a, x.c);
    const Ipp32fc evenDifference = subtract(x.a, x.c);
    const Ipp32fc oddSum = add(x.b, x.d);
    const Ipp32fc oddTurned = quarterTurn<direction>(subtract(x.b, x.d));
    return {add(evenSum, oddSum), add(evenDifference, oddTurned), subtract(evenSum, oddSum),
            subtract(evenDifference, oddTurned)};
}

// exp(-2 pi j k / N) for k up to N / 4.
Ipp32fc pairFactor(const IppsFFTSpec_R_32f& plan, std::int64_t k) {
    if (!transform::isLong(plan.order)) {
        return {plan.pairReal[k], plan.pairImaginary[k]};
    }
    // The table has the first N1 powers, and the circle of N / N1 = 2 N2 those of steps of N1.
    const std::int64_t rows = transform::matrixRows(plan.order);
    const std::int64_t low = k % rows;
    const std::int64_t high = 2 * transform::matrixColumns(plan.order) + k / rows;
    return multiply({plan.circles[2 * high], plan.circles[2 * high + 1]},
                    {plan.pairReal[low], plan.pairImaginary[low]});
}

// exp(-2 pi j k / N) for any k below N, from the first quarter of the circle.
Ipp32fc rootOfPlan(const IppsFFTSpec_R_32f& plan, std::int64_t k) {
    const std::int64_t quarter = std::int64_t{1} << (plan.order - 2);
    Ipp32fc root = pairFactor(plan, k % quarter);
    for (std::int64_t turns = k / quarter; turns > 0; --turns) {
        root = quarterTurn<Direction::forward>(root);
    }
    return root;
}

// One radix-4 pass over `stride` interleaved transforms of length n. The outputs are left in the
// order in which the next pass wants them, so that no reordering is needed at the end.
template <Direction direction>
void radix4Pass(const IppsFFTSpec_R_32f& plan, const Ipp32fc* source, Ipp32fc* target,
                std::int64_t n, std::int64_t stride) {
    const std::int64_t step = 2 * transform::pairCount(plan.order) / n;
    const std::int64_t quarter = n / 4 * stride;
    for (std::int64_t p = 0; p < n / 4; ++p) {
        const Ipp32fc w1 = rootOfPlan(plan, p * step);
        const Ipp32fc w2 = rootOfPlan(plan, 2 * p * step);
        const Ipp32fc w3 = rootOfPlan(plan, 3 * p * step);
        const Ipp32fc* const from = source + p * stride;
        Ipp32fc* const to = target + 4 * p * stride;
        for (std::int64_t q = 0; q < stride; ++q) {
            const Four y = butterfly<direction>(
                {from[q], from[q + quarter], from[q + 2 * quarter], from[q + 3 * quarter]});
            to[q] = y.a;
            to[q + stride] = rotate<direction>(y.b, w1);
            to[q + 2 * stride] = rotate<direction>(y.c, w2);
            to[q + 3 * stride] = rotate<direction>(y.d, w3);
        }
    }
}

// The last pass of an odd log2 length: `stride` interleaved transforms of length 2.
void radix2Pass(const Ipp32fc* source, Ipp32fc* target, std::int64_t stride) {
    for (std::int64_t q = 0; q < stride; ++q) {
        const Ipp32fc a = source[q];
        const Ipp32fc b = source[q + stride];
        target[q] = add(a, b);
        target[q + stride] = subtract(a, b);
    }
}

bool hasOddPassCount(std::int32_t order) {
    return (order + 1) / 2 % 2 != 0;
}

// The complex transform of 2^order numbers from `source` to `target`. The passes alternate between
// `target` and `other` and end in `target`: an odd number of them starts by writing `target`, an
// even one by writing `other`, and `source` must not be that array.
template <Direction direction>
void runPasses(const IppsFFTSpec_R_32f& plan, const Ipp32fc* source, Ipp32fc* target,
               Ipp32fc* other) {
    const std::int32_t order = passOrder(plan.order);
    std::int64_t n = std::int64_t{1} << order;
    if (n == 1) {
        *target = *source;
        return;
    }
    std::int64_t stride = 1;
    bool toTarget = hasOddPassCount(order);
    for (; n > 1; n /= 4) {
        Ipp32fc* const to = toTarget ? target : other;
        if (n == 2) {
            radix2Pass(source, to, stride);
        } else {
            radix4Pass<direction>(plan, source, to, n, stride);
            stride *= 4;
        }
        source = to;
        toTarget = !toTarget;
    }
}

// The first pass of a quartered transform: quarter r of `target` is what remains to be transformed
// for the outputs 4k + r. `source` may be `target`.
template <Direction direction>
void cutIntoQuarters(const IppsFFTSpec_R_32f& plan, const Ipp32fc* source, Ipp32fc* target) {
    const std::int64_t quarter = transform::pairCount(plan.order) / 4;
    for (std::int64_t p = 0; p < quarter; ++p) {
        const Four y = butterfly<direction>(
            {source[p], source[p + quarter], source[p + 2 * quarter], source[p + 3 * quarter]});
        // The M-th roots are every other of the N-th.
        target[p] = y.a;
        target[p + quarter] = rotate<direction>(y.b, rootOfPlan(plan, 2 * p));
        target[p + 2 * quarter] = rotate<direction>(y.c, rootOfPlan(plan, 4 * p));
        target[p + 3 * quarter] = rotate<direction>(y.d, rootOfPlan(plan, 6 * p));
    }
}

// Output 4k + r is number k of quarter r. Three quarters wait in `work`; the last is read where it
// lies, always ahead of or at the place that is written.
void interleaveQuarters(Ipp32fc* data, Ipp32fc* work, std::int64_t quarter) {
    for (std::int64_t i = 0; i < 3 * quarter; ++i) {
        work[i] = data[i];
    }
    for (std::int64_t k = 0; k < quarter; ++k) {
        const Ipp32fc last = data[3 * quarter + k];
        data[4 * k] = work[k];
        data[4 * k + 1] = work[quarter + k];
        data[4 * k + 2] = work[2 * quarter + k];
        data[4 * k + 3] = last;
    }
}

// Transforms the M numbers of a quartered plan from `source` to `target`, which may be the same.
template <Direction direction>
void runQuartered(const IppsFFTSpec_R_32f& plan, const Ipp32fc* source, Ipp32fc* target,
                  Ipp32fc* work) {
    const std::int64_t quarter = transform::pairCount(plan.order) / 4;
    const std::int32_t order = passOrder(plan.order);
    cutIntoQuarters<direction>(plan, source, target);
    for (std::int64_t r = 0; r < 4; ++r) {
        Ipp32fc* const part = target + r * quarter;
        const Ipp32fc* from = part;
        if (hasOddPassCount(order)) {
            for (std::int64_t i = 0; i < quarter; ++i) {
                work[i] = part[i];
            }
            from = work;
        }
        runPasses<direction>(plan, from, part, work);
    }
    interleaveQuarters(target, work, quarter);
}

// With Z the transform of the pairs x[2n] + j x[2n + 1], the even samples have the spectrum
// E[k] = (Z[k] + conj Z[M - k]) / 2, the odd ones O[k] = (Z[k] - conj Z[M - k]) / 2j, and
// X[k] = E[k] + w^k O[k], X[M - k] = conj(E[k] - w^k O[k]), w = exp(-2 pi j / N).
// Turns Z into X in place. The opposite is joinSpectra.
void separateSpectra(const IppsFFTSpec_R_32f& plan, Ipp32fc* bins) {
    const std::int64_t last = transform::pairCount(plan.order);
    const float scale = plan.forwardScale;
    const float half = 0.5f * scale;
    const Ipp32fc first = bins[0];
    bins[0] = {(first.re + first.im) * scale, 0.0f};
    bins[last] = {(first.re - first.im) * scale, 0.0f};
    for (std::int64_t k = 1; k < last - k; ++k) {
        const Ipp32fc z = bins[k];
        const Ipp32fc mirrored = conjugate(bins[last - k]);
        const Ipp32fc even = add(z, mirrored);
        const Ipp32fc odd =
            multiply(quarterTurn<Direction::forward>(subtract(z, mirrored)), pairFactor(plan, k));
        const Ipp32fc sum = add(even, odd);
        const Ipp32fc difference = subtract(even, odd);
        bins[k] = {sum.re * half, sum.im * half};
        bins[last - k] = {difference.re * half, -difference.im * half};
    }
    if (last > 1) {
        const Ipp32fc middle = bins[last / 2];
        bins[last / 2] = {middle.re * scale, -middle.im * scale};
    }
}

// The opposite of separateSpectra, without its division by 2:
// Z[k] = E[k] + j O[k] and Z[M - k] = conj(E[k] - j O[k]),
// with E[k] = X[k] + conj X[M - k] and O[k] = w^-k (X[k] - conj X[M - k]).
void joinSpectra(const IppsFFTSpec_R_32f& plan, const Ipp32fc* bins, Ipp32fc* pairs) {
    const std::int64_t last = transform::pairCount(plan.order);
    const float scale = plan.inverseScale;
    pairs[0] = {(bins[0].re + bins[last].re) * scale, (bins[0].re - bins[last].re) * scale};
    for (std::int64_t k = 1; k < last - k; ++k) {
        const Ipp32fc mirrored = conjugate(bins[last - k]);
        const Ipp32fc even = add(bins[k], mirrored);
        const Ipp32fc odd = quarterTurn<Direction::inverse>(
            rotate<Direction::inverse>(subtract(bins[k], mirrored), pairFactor(plan, k)));
        const Ipp32fc sum = add(even, odd);
        const Ipp32fc difference = subtract(even, odd);
        pairs[k] = {sum.re * scale, sum.im * scale};
        pairs[last - k] = {difference.re * scale, -difference.im * scale};
    }
    if (last > 1) {
        const Ipp32fc middle = bins[last / 2];
        pairs[last / 2] = {2.0f * middle.re * scale, -2.0f * middle.im * scale};
    }
}

// Interleaved floats are complex numbers as they lie.
const Ipp32fc* asComplex(const float* values) {
    return reinterpret_cast<const Ipp32fc*>(values);
}
Ipp32fc* asComplex(float* values) {
    return reinterpret_cast<Ipp32fc*>(values);
}

Ipp32fc* workNumbers(unsigned char* work) {
    return work == nullptr ? nullptr : reinterpret_cast<Ipp32fc*>(transform::alignUp(work));
}

}  // namespace

IppStatus ippsFFTFwd_RToCCS_32f(const float* pSrc, float* pDst, const IppsFFTSpec_R_32f* pSpec,
                                unsigned char* pWork) {
    const IppsFFTSpec_R_32f& plan = *pSpec;
    if (plan.order == 0) {
        pDst[0] = pSrc[0] * plan.forwardScale;
        pDst[1] = 0.0f;
        return ippStsNoErr;
    }
    Ipp32fc* const bins = asComplex(pDst);
    Ipp32fc* const work = workNumbers(pWork);
    if (isQuartered(plan.order)) {
        runQuartered<Direction::forward>(plan, asComplex(pSrc), bins, work);
    } else {
        runPasses<Direction::forward>(plan, asComplex(pSrc), bins, work);
    }
    separateSpectra(plan, bins);
    return ippStsNoErr;
}

IppStatus ippsFFTInv_CCSToR_32f(const float* pSrc, float* pDst, const IppsFFTSpec_R_32f* pSpec,
                                unsigned char* pWork) {
    const IppsFFTSpec_R_32f& plan = *pSpec;
    if (plan.order == 0) {
        pDst[0] = pSrc[0] * plan.inverseScale;
        return ippStsNoErr;
    }
    Ipp32fc* const result = asComplex(pDst);
    Ipp32fc* const work = workNumbers(pWork);
    if (isQuartered(plan.order)) {
        joinSpectra(plan, asComplex(pSrc), result);
        runQuartered<Direction::inverse>(plan, result, result, work);
        return ippStsNoErr;
    }
    const std::int32_t order = passOrder(plan.order);
    Ipp32fc* const pairs = hasOddPassCount(order) ? work : result;
    joinSpectra(plan, asComplex(pSrc), pairs);
    runPasses<Direction::inverse>(plan, pairs, result, work);
    return ippStsNoErr;
}

}  // namespace vorun::plain
