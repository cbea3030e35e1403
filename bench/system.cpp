// System utilities and text: read_write_semaphore2 against std::shared_mutex
// (an uncontended read lock and unlock; 90 % reads and 10 % writes on two
// threads), the cached thread id against the system call, and the
// case-blind comparisons on 64-byte strings.
#include <benchmark/benchmark.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <shared_mutex>
#include <string>

#include "plinth/plinth.h"

namespace {

void BM_Semaphore2_ReadLockUnlock(benchmark::State& state) {
  read_write_semaphore2 sem;
  for (auto _ : state) {
    sem.read_lock();
    sem.read_unlock();
  }
}
BENCHMARK(BM_Semaphore2_ReadLockUnlock);

void BM_SharedMutex_ReadLockUnlock(benchmark::State& state) {
  std::shared_mutex mutex;
  for (auto _ : state) {
    mutex.lock_shared();
    mutex.unlock_shared();
  }
}
BENCHMARK(BM_SharedMutex_ReadLockUnlock);

// Both locks guard the same small work: a read sums a few words, a write
// bumps them. One write in ten.
struct Guarded {
  long words[8] = {};
  long Read() const {
    long sum = 0;
    for (long w : words) sum += w;
    return sum;
  }
  void Write() {
    for (long& w : words) ++w;
  }
};

read_write_semaphore2 g_sem;
std::shared_mutex g_mutex;
Guarded g_semData, g_mutexData;

void BM_Semaphore2_Mixed90_10(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < 10; ++i) {
      if (i == 0) {
        sem2_write_lock w(g_sem);
        g_semData.Write();
      } else {
        sem2_read_lock r(g_sem);
        benchmark::DoNotOptimize(g_semData.Read());
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * 10);
}
BENCHMARK(BM_Semaphore2_Mixed90_10)->Threads(2)->UseRealTime();

void BM_SharedMutex_Mixed90_10(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < 10; ++i) {
      if (i == 0) {
        std::unique_lock w(g_mutex);
        g_mutexData.Write();
      } else {
        std::shared_lock r(g_mutex);
        benchmark::DoNotOptimize(g_mutexData.Read());
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * 10);
}
BENCHMARK(BM_SharedMutex_Mixed90_10)->Threads(2)->UseRealTime();

void BM_GetThisThreadID(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(GetThisThreadID());
}
BENCHMARK(BM_GetThisThreadID);

void BM_GettidSystemCall(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(syscall(SYS_gettid));
}
BENCHMARK(BM_GettidSystemCall);

// Equal but for case, so the whole 64 bytes are compared.
const std::string kUpper64 = [] {
  std::string s;
  for (int i = 0; i < 64; ++i) s += static_cast<char>(i % 2 ? 'A' + i % 26 : 'a' + i % 26);
  return s;
}();
const std::string kMixed64 = i18n_aux::ToLower(kUpper64);

void BM_cmp_nocase_64(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(i18n_aux::cmp_nocase(kUpper64, kMixed64));
}
BENCHMARK(BM_cmp_nocase_64);

void BM_StrCmpI_64(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(i18n_aux::StrCmpI(kUpper64, kMixed64));
}
BENCHMARK(BM_StrCmpI_64);

// What the comparison would cost by its definition: two mapped copies.
void BM_MappedCopies_64(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(i18n_aux::ToUpper(kUpper64).compare(i18n_aux::ToUpper(kMixed64)));
}
BENCHMARK(BM_MappedCopies_64);

}  // namespace
