// Osl_UTF8String in Unicode mode: LengthInChars and a GetNextChar walk over
// 16 MB of mixed UTF-8, each beside ICU's U8_NEXT loop on the same bytes
// (and u_countChar32 on the same text in UTF-16); ToCurrentSystemEncoding of
// 30 bytes; and SubstrInChars(i, 1) over every i, quadratic by design.
#include <benchmark/benchmark.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <random>
#include <string>

#include "plinth/i18n.h"

namespace {

// One, two and three-byte characters (six, two and two in ten); no
// four-byte ones, which GetNextChar refuses.
std::string MixedText(std::size_t bytes) {
  static char const* const kPieces[] = {"a", "b", "e", " ", "t", "0",
                                        "\xC3\xBC", "\xC3\xA9", "\xE2\x82\xAC", "\xE6\x9D\xB1"};
  std::mt19937 random(42);
  std::string text;
  text.reserve(bytes + 3);
  while (text.size() < bytes) text += kPieces[random() % 10];
  return text;
}

std::string const& Text16MB() {
  static std::string const text = MixedText(16u << 20);
  return text;
}

void UnicodeMode() {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(true);
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS1252");
}

void BM_LengthInChars(benchmark::State& state) {
  UnicodeMode();
  Osl_UTF8String const s(Text16MB());
  unsigned int chars = 0;
  for (auto _ : state) {
    chars = s.LengthInChars();
    benchmark::DoNotOptimize(chars);
  }
  state.SetBytesProcessed(state.iterations() * s.length());
  state.SetItemsProcessed(state.iterations() * chars);
}
BENCHMARK(BM_LengthInChars)->Unit(benchmark::kMillisecond);

void BM_IcuU8NextCount(benchmark::State& state) {
  std::string const& text = Text16MB();
  auto const* bytes = reinterpret_cast<uint8_t const*>(text.data());
  int32_t const length = static_cast<int32_t>(text.size());
  int64_t chars = 0;
  for (auto _ : state) {
    chars = 0;
    for (int32_t i = 0; i < length;) {
      UChar32 c;
      U8_NEXT(bytes, i, length, c);
      benchmark::DoNotOptimize(c);
      ++chars;
    }
  }
  state.SetBytesProcessed(state.iterations() * length);
  state.SetItemsProcessed(state.iterations() * chars);
}
BENCHMARK(BM_IcuU8NextCount)->Unit(benchmark::kMillisecond);

void BM_IcuCountChar32Utf16(benchmark::State& state) {
  std::string const& text = Text16MB();
  std::u16string wide(text.size(), u'\0');
  int32_t units = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(wide.data(), static_cast<int32_t>(wide.size()), &units, text.data(),
                static_cast<int32_t>(text.size()), &status);
  if (U_FAILURE(status)) {
    state.SkipWithError("conversion to UTF-16 failed");
    return;
  }
  int32_t chars = 0;
  for (auto _ : state) {
    chars = u_countChar32(wide.data(), units);
    benchmark::DoNotOptimize(chars);
  }
  // Bytes of the UTF-8 form, so that the rate compares with the others.
  state.SetBytesProcessed(state.iterations() * text.size());
  state.SetItemsProcessed(state.iterations() * chars);
}
BENCHMARK(BM_IcuCountChar32Utf16)->Unit(benchmark::kMillisecond);

void BM_GetNextCharWalk(benchmark::State& state) {
  UnicodeMode();
  Osl_UTF8String s(Text16MB());
  int64_t chars = 0;
  for (auto _ : state) {
    chars = 0;
    char const* text = nullptr;
    unsigned int len = 0;
    for (unsigned int pos = 0; (pos = s.GetNextChar(pos, text, len)) != Osl_UTF8String::npos;) {
      benchmark::DoNotOptimize(text);
      ++chars;
    }
  }
  state.SetBytesProcessed(state.iterations() * s.length());
  state.SetItemsProcessed(state.iterations() * chars);
}
BENCHMARK(BM_GetNextCharWalk)->Unit(benchmark::kMillisecond);

void BM_ToCurrentSystemEncoding30B(benchmark::State& state) {
  UnicodeMode();
  Osl_UTF8String const s("Gr\xC3\xBC\xC3\x9F" "e aus M\xC3\xBCnchen, 5 \xE2\x82\xAC" " o!");
  for (auto _ : state) benchmark::DoNotOptimize(s.ToCurrentSystemEncoding());
  state.counters["bytes"] = s.length();
}
BENCHMARK(BM_ToCurrentSystemEncoding30B);

void BM_SubstrEveryChar(benchmark::State& state) {
  UnicodeMode();
  std::string text = MixedText(static_cast<std::size_t>(state.range(0)) * 2);
  Osl_UTF8String s(text);
  // Cut to exactly range(0) characters.
  s = s.SubstrInChars(0, static_cast<unsigned int>(state.range(0)));
  unsigned int const chars = s.LengthInChars();
  for (auto _ : state) {
    for (unsigned int i = 0; i < chars; ++i) benchmark::DoNotOptimize(s.SubstrInChars(i, 1));
  }
  state.SetItemsProcessed(state.iterations() * chars);
}
BENCHMARK(BM_SubstrEveryChar)->Arg(2000)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace
