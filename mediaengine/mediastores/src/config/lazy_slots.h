// LazySlots: a fixed number of objects of one type, each made on its first use and kept until the
// slots go, so that a holder pays only for the slots it uses.
#ifndef MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_LAZY_SLOTS_H_
#define MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_LAZY_SLOTS_H_

#include <atomic>
#include <cstddef>
#include <memory>

namespace kelStore {

template <class T, size_t N>
class LazySlots {
 public:
  LazySlots() = default;
  // The objects go in reverse slot order, as an array's elements would.
  ~LazySlots() {
    for (size_t i = N; i-- > 0;)
      delete m_slots[i].load(std::memory_order_acquire);
  }
  LazySlots(const LazySlots&) = delete;
  LazySlots& operator=(const LazySlots&) = delete;

  // The object of slot `i` (below N), made on first use. When two threads use a new slot at once,
  // one object is published and the other thread's is thrown away before anything was put in it.
  T& Used(size_t i) {
    T* object = m_slots[i].load(std::memory_order_acquire);
    if (object != nullptr) return *object;
    auto made = std::make_unique<T>();
    // On a lost race `object` receives the winner's object and ours goes unused.
    if (m_slots[i].compare_exchange_strong(object, made.get(), std::memory_order_acq_rel,
                                           std::memory_order_acquire)) {
      return *made.release();
    }
    return *object;
  }
  // The object of slot `i` when it was ever used, or null; never makes it.
  T* IfUsed(size_t i) const { return m_slots[i].load(std::memory_order_acquire); }

 private:
  std::atomic<T*> m_slots[N] = {};
};

}  // namespace kelStore

#endif  // MEDIASTORES_MEDIAENGINE_MEDIASTORES_SRC_CONFIG_LAZY_SLOTS_H_
