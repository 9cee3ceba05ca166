// Side-by-side measurement: a figure and its floor (or several bodies of work) run in short
// alternating slices inside one benchmark, so that every body sees the machine in the same state.
// A machine shared with other work speeds up and slows down by tens of percent within seconds;
// measured this way, a ratio of two bodies stays put while their absolute times move.
//
//   void BM_Get(benchmark::State& state) {
//     ...
//     bench::SideBySide(state, bench::Side("store", [&] { store.Get(...); }),
//                              bench::Side("floor", [&] { floor.Get(...); }));
//   }
//
// Each iteration of the benchmark runs one slice of each body in turn: the body's operation
// repeated for about kSlice, timed on the steady clock. At the end the benchmark reports, for
// each body, the median nanoseconds per operation over its slices as the counter "ns:<name>" (a
// slice that the scheduler interrupted lies far above the others and leaves the median alone),
// and the fastest slice's as "best:<name>": what the work costs when nothing else on the machine
// gets in its way, the figure to hold against a bound in nanoseconds.
#ifndef MEDIASTORES_BENCH_SIDE_BY_SIDE_H_
#define MEDIASTORES_BENCH_SIDE_BY_SIDE_H_

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace bench {

// One body of a side-by-side benchmark: its counter's name, its operation and what brings the
// machine back to rest after a slice (untimed: a worker draining what the slice handed it).
template <class Op, class Settle>
struct Body {
  const char* name;
  Op op;
  Settle settle;
};

inline void Nothing() {}

template <class Op>
Body<Op, void (*)()> Side(const char* name, Op op) {
  return {name, std::move(op), &Nothing};
}

template <class Op, class Settle>
Body<Op, Settle> Side(const char* name, Op op, Settle settle) {
  return {name, std::move(op), std::move(settle)};
}

namespace internal {

using Clock = std::chrono::steady_clock;
// Long enough that the two clock readings around a slice cost well under 1% of it, short enough
// that the bodies alternate many times within one change of the machine's pace.
constexpr std::chrono::microseconds kSlice(50);

inline double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

template <class Op, class Settle>
class Slices {
 public:
  explicit Slices(Body<Op, Settle> body) : body_(std::move(body)) {}

  // Doubles the operations per slice until a slice lasts `slice`; also warms the body up.
  void Calibrate(Clock::duration slice) {
    while (Time() < slice && ops_ < (int64_t{1} << 30))
      ops_ *= 2;
    body_.settle();
  }

  void Run() {
    const Clock::duration elapsed = Time();
    nsPerOp_.push_back(std::chrono::duration<double, std::nano>(elapsed).count() /
                       static_cast<double>(ops_));
    body_.settle();
  }

  void Report(benchmark::State& state) const {
    state.counters[std::string("ns:") + body_.name] = Median(nsPerOp_);
    state.counters[std::string("best:") + body_.name] =
        nsPerOp_.empty() ? 0 : *std::min_element(nsPerOp_.begin(), nsPerOp_.end());
  }

 private:
  Clock::duration Time() {
    const Clock::time_point start = Clock::now();
    for (int64_t k = 0; k < ops_; ++k)
      body_.op();
    return Clock::now() - start;
  }

  Body<Op, Settle> body_;
  int64_t ops_ = 1;
  std::vector<double> nsPerOp_;
};

}  // namespace internal

// Runs the bodies side by side, in slices of about `slice`, for as long as `state` iterates and
// reports each one's median nanoseconds per operation as the counter "ns:<name>" and its fastest
// slice's as "best:<name>". Work handed to another thread takes longer slices than kSlice, so
// that waking a sleeping thread at the start of each slice does not make the figure.
template <class... Bodies>
void SideBySideInSlicesOf(std::chrono::microseconds slice, benchmark::State& state,
                          Bodies... bodies) {
  std::tuple<internal::Slices<decltype(bodies.op), decltype(bodies.settle)>...> slices{
      std::move(bodies)...};
  std::apply([slice](auto&... s) { (s.Calibrate(slice), ...); }, slices);
  for (auto _ : state)
    std::apply([](auto&... s) { (s.Run(), ...); }, slices);
  std::apply([&state](const auto&... s) { (s.Report(state), ...); }, slices);
}

// The same in slices of kSlice.
template <class... Bodies>
void SideBySide(benchmark::State& state, Bodies... bodies) {
  SideBySideInSlicesOf(internal::kSlice, state, std::move(bodies)...);
}

}  // namespace bench

#endif  // MEDIASTORES_BENCH_SIDE_BY_SIDE_H_
