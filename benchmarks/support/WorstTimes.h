#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace vorun::benchmarks {

/** What the system counts of the calling thread. */
struct ThreadEvents {
    long switches = 0;  ///< The core was taken away for another thread.
    long faults = 0;    ///< A page was not there, on a disk or not.

    static ThreadEvents now() {
        rusage usage{};
        getrusage(RUSAGE_THREAD, &usage);
        return {usage.ru_nivcsw, usage.ru_minflt + usage.ru_majflt};
    }
};

/**
 * Times of many stretches of equal work with what disturbed each: the slowest ones and their cause.
 *
 *   median, p999, worst   us
 *   quiet                 us, the worst of those without a switch or a fault
 *   slow                  those above four medians
 *   slow_switched         those of them with a switch
 *   slow_faulted          those of them with a fault
 *   switches, faults      of all
 */
class WorstTimes {
  public:
    /** Takes the memory now, so that recording faults no page in later. */
    explicit WorstTimes(std::size_t count) : stretches_(count) { stretches_.clear(); }

    /** Runs `work`; the counters are read around it, outside of its time. */
    template <class Work>
    void time(Work work) {
        const ThreadEvents before = ThreadEvents::now();
        const auto start = Clock::now();
        work();
        const std::chrono::duration<double, std::micro> taken = Clock::now() - start;
        const ThreadEvents after = ThreadEvents::now();
        stretches_.push_back(
            {taken.count(), after.switches - before.switches, after.faults - before.faults});
    }

    double median() const { return quantile(sorted(), 0.5); }

    /** Counters named `prefix` and the names above. */
    void report(benchmark::State& state, const std::string& prefix) const {
        const std::vector<double> times = sorted();
        const double slowFrom = 4.0 * quantile(times, 0.5);
        const auto set = [&](const char* name, double value) {
            state.counters[prefix + name] = value;
        };
        set("median", quantile(times, 0.5));
        set("p999", quantile(times, 0.999));
        set("worst", times.back());
        set("quiet", worstQuiet());
        set("slow", countIf([&](const Stretch& s) { return s.time > slowFrom; }));
        set("slow_switched",
            countIf([&](const Stretch& s) { return s.time > slowFrom && s.switches > 0; }));
        set("slow_faulted",
            countIf([&](const Stretch& s) { return s.time > slowFrom && s.faults > 0; }));
        set("switches", sumOf(&Stretch::switches));
        set("faults", sumOf(&Stretch::faults));
    }

  private:
    using Clock = std::chrono::steady_clock;

    struct Stretch {
        double time = 0.0;
        long switches = 0;
        long faults = 0;
    };

    std::vector<double> sorted() const {
        std::vector<double> times;
        times.reserve(stretches_.size());
        for (const Stretch& stretch : stretches_) {
            times.push_back(stretch.time);
        }
        std::sort(times.begin(), times.end());
        return times;
    }

    static double quantile(const std::vector<double>& times, double share) {
        const auto last = static_cast<double>(times.size() - 1);
        return times[static_cast<std::size_t>(std::ceil(share * last))];
    }

    double worstQuiet() const {
        double worst = 0.0;
        for (const Stretch& stretch : stretches_) {
            const bool isQuiet = stretch.switches == 0 && stretch.faults == 0;
            worst = isQuiet ? std::max(worst, stretch.time) : worst;
        }
        return worst;
    }

    template <class Condition>
    double countIf(Condition condition) const {
        return static_cast<double>(std::count_if(stretches_.begin(), stretches_.end(), condition));
    }

    double sumOf(long Stretch::*events) const {
        long sum = 0;
        for (const Stretch& stretch : stretches_) {
            sum += stretch.*events;
        }
        return static_cast<double>(sum);
    }

    std::vector<Stretch> stretches_;
};

}  // namespace vorun::benchmarks
