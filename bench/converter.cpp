// The Unicode converter against ICU and iconv in the same run: UTF-8 to
// UTF-16 and back on 16 MB of generated text of four kinds, a named
// conversion UTF-8 to MS1252 of 8 MB of Latin text, and a converter made,
// used on 30 bytes and destroyed. Throughput counts the bytes of the UTF-8
// text in every direction, so that the columns compare one to one.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <random>
#include <string>
#include <vector>

#include "plinth/plinth.h"

namespace {

constexpr size_t TextSize = 16u << 20;

enum Kind { Ascii, LatinMix, Cjk, Emoji };

// Words of the kind, picked at random and joined by spaces, up to size bytes.
std::string Generate(Kind kind, size_t size) {
  static const std::vector<std::string> words[] = {
      {"the", "quick", "brown", "fox", "jumps", "over", "lazy", "dog", "text", "convert"},
      {"caf\xC3\xA9", "na\xC3\xAFve", "stra\xC3\x9F" "e", "\xC3\xBC" "ber", "gar\xC3\xA7on", "fen\xC3\xAAtre", "and",
       "the", "co\xC3\xB6perate", "\xC3\xA0"},
      {"\xE4\xB8\xAD\xE6\x96\x87", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E", "\xED\x95\x9C\xEA\xB5\xAD\xEC\x96\xB4",
       "\xE6\xBC\xA2\xE5\xAD\x97", "\xE3\x81\x8B\xE3\x81\xAA"},
      {"\xF0\x9F\x98\x80", "\xF0\x9F\x8E\x89\xF0\x9F\x8E\x89", "ok", "\xF0\x9F\x9A\x80", "\xF0\x9F\x91\x8D"},
  };
  std::mt19937 random(42);
  const auto& pool = words[kind];
  std::string text;
  while (text.size() < size) {
    text += pool[random() % pool.size()];
    text += ' ';
  }
  // Cut at a character boundary.
  size_t end = size;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text;
}

const std::string& Text(Kind kind) {
  static std::string texts[4];
  if (texts[kind].empty()) texts[kind] = Generate(kind, TextSize);
  return texts[kind];
}

std::vector<UChar> Utf16(const std::string& text) {
  std::vector<UChar> units(text.size() + 1);
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(units.data(), static_cast<int32_t>(units.size()), &length, text.data(),
                static_cast<int32_t>(text.size()), &status);
  units.resize(length);
  return units;
}

void Report(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

void BM_Plinth_UTF8toUCS2(benchmark::State& state) {
  const std::string& text = Text(static_cast<Kind>(state.range(0)));
  std::vector<wchar_t> out(text.size() + 1);
  Osl_UnicodeConverter converter;
  for (auto _ : state) {
    long dlen = static_cast<long>(out.size());
    if (converter.ConvertUTF8toUCS2(text.data(), static_cast<long>(text.size()), out.data(), dlen) != CONV_OK)
      state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, text.size());
}

void BM_ICU_u_strFromUTF8(benchmark::State& state) {
  const std::string& text = Text(static_cast<Kind>(state.range(0)));
  std::vector<UChar> out(text.size() + 1);
  for (auto _ : state) {
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
                  static_cast<int32_t>(text.size()), &status);
    if (U_FAILURE(status)) state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, text.size());
}

void Iconv(benchmark::State& state, const char* to, const char* from, const char* in, size_t inSize, size_t outSize,
           size_t textSize) {
  iconv_t cd = iconv_open(to, from);
  std::vector<char> out(outSize);
  for (auto _ : state) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* source = const_cast<char*>(in);
    size_t sourceLeft = inSize;
    char* target = out.data();
    size_t targetLeft = out.size();
    if (iconv(cd, &source, &sourceLeft, &target, &targetLeft) == static_cast<size_t>(-1))
      state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out.data());
  }
  iconv_close(cd);
  Report(state, textSize);
}

void BM_Iconv_UTF8toUTF16(benchmark::State& state) {
  const std::string& text = Text(static_cast<Kind>(state.range(0)));
  Iconv(state, "UTF-16LE", "UTF-8", text.data(), text.size(), 2 * text.size() + 16, text.size());
}

void BM_Plinth_UCS2toUTF8(benchmark::State& state) {
  const std::string& text = Text(static_cast<Kind>(state.range(0)));
  const std::vector<UChar> units = Utf16(text);
  const std::vector<wchar_t> wide(units.begin(), units.end());
  std::vector<char> out(3 * wide.size() + 1);
  Osl_UnicodeConverter converter;
  for (auto _ : state) {
    long dlen = static_cast<long>(out.size());
    if (converter.ConvertUCS2toUTF8(wide.data(), static_cast<long>(wide.size()), out.data(), dlen) != CONV_OK)
      state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, text.size());
}

void BM_ICU_u_strToUTF8(benchmark::State& state) {
  const std::string& text = Text(static_cast<Kind>(state.range(0)));
  const std::vector<UChar> units = Utf16(text);
  std::vector<char> out(3 * units.size() + 1);
  for (auto _ : state) {
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length, units.data(),
                static_cast<int32_t>(units.size()), &status);
    if (U_FAILURE(status)) state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, text.size());
}

void BM_Iconv_UTF16toUTF8(benchmark::State& state) {
  const std::string& text = Text(static_cast<Kind>(state.range(0)));
  const std::vector<UChar> units = Utf16(text);
  Iconv(state, "UTF-8", "UTF-16LE", reinterpret_cast<const char*>(units.data()), units.size() * 2,
        3 * units.size() + 16, text.size());
}

#define KINDS ArgName("text")->Arg(Ascii)->Arg(LatinMix)->Arg(Cjk)->Arg(Emoji)->Unit(benchmark::kMillisecond)
BENCHMARK(BM_Plinth_UTF8toUCS2)->KINDS;
BENCHMARK(BM_ICU_u_strFromUTF8)->KINDS;
BENCHMARK(BM_Iconv_UTF8toUTF16)->KINDS;
BENCHMARK(BM_Plinth_UCS2toUTF8)->KINDS;
BENCHMARK(BM_ICU_u_strToUTF8)->KINDS;
BENCHMARK(BM_Iconv_UTF16toUTF8)->KINDS;

const std::string& Latin8() {
  static const std::string text = Generate(LatinMix, 8u << 20);
  return text;
}

void BM_Plinth_NamedUTF8toMS1252(benchmark::State& state) {
  const std::string& text = Latin8();
  std::vector<char> out(text.size() + 1);
  Osl_UnicodeConverter converter;
  converter.SetCurrentEncoding("UTF-8");
  converter.SetTargetEncoding("MS1252");
  for (auto _ : state) {
    long dlen = static_cast<long>(out.size());
    if (converter.ConvertCurrentEncodingtoTargetEncoding(text.data(), static_cast<long>(text.size()), out.data(),
                                                         dlen) != CONV_OK)
      state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, text.size());
}
BENCHMARK(BM_Plinth_NamedUTF8toMS1252)->Unit(benchmark::kMillisecond);

void BM_ICU_ucnv_convertEx_UTF8toMS1252(benchmark::State& state) {
  const std::string& text = Latin8();
  std::vector<char> out(text.size() + 1);
  UErrorCode status = U_ZERO_ERROR;
  UConverter* from = ucnv_open("UTF-8", &status);
  UConverter* to = ucnv_open("windows-1252", &status);
  for (auto _ : state) {
    char* target = out.data();
    const char* source = text.data();
    status = U_ZERO_ERROR;
    ucnv_convertEx(to, from, &target, target + out.size(), &source, source + text.size(), nullptr, nullptr,
                   nullptr, nullptr, true, true, &status);
    if (U_FAILURE(status)) state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out.data());
  }
  ucnv_close(from);
  ucnv_close(to);
  Report(state, text.size());
}
BENCHMARK(BM_ICU_ucnv_convertEx_UTF8toMS1252)->Unit(benchmark::kMillisecond);

const char Short[] = "Gr\xC3\xBC\xC3\x9F" "e aus der Stra\xC3\x9F" "e, caf\xC3\xA9 ok";  // 30 bytes

void BM_Plinth_MakeUseDestroy30Bytes(benchmark::State& state) {
  char out[128];
  for (auto _ : state) {
    Osl_UnicodeConverter converter;
    converter.SetCurrentEncoding("UTF-8");
    converter.SetTargetEncoding("MS1252");
    long dlen = sizeof out;
    if (converter.ConvertCurrentEncodingtoTargetEncoding(Short, sizeof Short - 1, out, dlen) != CONV_OK)
      state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(BM_Plinth_MakeUseDestroy30Bytes);

void BM_ICU_OpenUseClose30Bytes(benchmark::State& state) {
  char out[128];
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* from = ucnv_open("UTF-8", &status);
    UConverter* to = ucnv_open("windows-1252", &status);
    char* target = out;
    const char* source = Short;
    ucnv_convertEx(to, from, &target, out + sizeof out, &source, Short + sizeof Short - 1, nullptr, nullptr,
                   nullptr, nullptr, true, true, &status);
    if (U_FAILURE(status)) state.SkipWithError("conversion failed");
    ucnv_close(from);
    ucnv_close(to);
    benchmark::DoNotOptimize(out);
  }
}
BENCHMARK(BM_ICU_OpenUseClose30Bytes);

}  // namespace
