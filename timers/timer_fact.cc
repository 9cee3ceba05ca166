#include "mediastores/timer_fact.h"

namespace {

// Two's-complement arithmetic on stamps: a mocked stamp may be any 64-bit value, and the result
// must wrap instead of being undefined.
long long WrapSub(long long a, long long b) {
  return static_cast<long long>(static_cast<unsigned long long>(a) -
                                static_cast<unsigned long long>(b));
}

long long WrapAdd(long long a, long long b) {
  return static_cast<long long>(static_cast<unsigned long long>(a) +
                                static_cast<unsigned long long>(b));
}

}  // namespace

template <class Policy>
timer_fact<Policy>::timer_fact(long long tag) : m_tag(tag == -1 ? now() : tag) {}

template <class Policy>
void timer_fact<Policy>::reset(long long tag) {
  m_tag = tag == -1 ? now() : tag;
}

template <class Policy>
long long timer_fact<Policy>::now() {
  const long long mock = get_mock_time();
  return mock != -1 ? mock : Policy::now();
}

template <class Policy>
long long timer_fact<Policy>::elapsed_in(long long divisor) const {
  const long long n = now() / divisor;
  const long long s = m_tag / divisor;
  if (n >= s) return WrapSub(n, s);
  // The clock wrapped since the tag: the part up to the wrap point plus the part after it.
  const long long w = WrapSub(Policy::max_time_value(), m_tag) / divisor;
  if (w != 0) return WrapAdd(w, n);
  return WrapSub(n, s);  // The tag is within one unit of the wrap point: negative, kept as is.
}

template <class Policy>
long long timer_fact<Policy>::elapsed() const {
  return elapsed_in(1);
}

template <class Policy>
long long timer_fact<Policy>::elapsed_mills() const {
  return elapsed_in(1000);
}

template <class Policy>
long long timer_fact<Policy>::elapsed_sec() const {
  return elapsed_in(1000000);
}

template <class Policy>
void timer_fact<Policy>::MockNow(unsigned long long t) {
  set_mock_time(t);
}

template <class Policy>
bool timer_fact<Policy>::overtime(long long limit) const {
  return elapsed() >= limit;
}

template <class Policy>
bool timer_fact<Policy>::overtime_mills(long long limit) const {
  return elapsed_mills() >= limit;
}

template <class Policy>
bool timer_fact<Policy>::overtime_sec(long long limit) const {
  return elapsed_sec() >= limit;
}

template <class Policy>
long long timer_fact<Policy>::latest_tag() const {
  return m_tag;
}

template class timer_fact<timer_policy>;
template class timer_fact<tick_policy>;
template class timer_fact<low_tick_policy>;
