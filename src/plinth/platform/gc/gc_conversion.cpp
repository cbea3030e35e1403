// Conversion between two encodings on ICU converters. The common path is
// one ucnv_convertEx call; it can't say where exactly a failure or a full
// target cut the text, so only when it fails does a second path run from
// the start again, through UTF-16 with offsets, and stop in front of the
// first character that can't be read, mapped or fitted.
#include <unicode/ucnv.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "plinth/platform/gc/gc_internal.h"

struct GCConversion {
  UConverter* decoder = nullptr;  // source encoding to UTF-16
  UConverter* encoder = nullptr;  // UTF-16 to target encoding
  bool statefulSource = false;
};

namespace {

// One ICU call takes at most this much of either side.
constexpr long MaxCall = INT32_MAX / 4;
// UTF-16 units decoded per round of the exact path.
constexpr size_t ExactChunk = 8192;
// Enough for the bytes or units of one bad sequence that ICU keeps.
constexpr int8_t InvalidRoom = 32;

UConverter* Clone(UConverter* prototype) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* copy = ucnv_clone(prototype, &status);
  if (U_FAILURE(status)) {
    ucnv_close(copy);
    return nullptr;
  }
  return copy;
}

// Encodes units [0, count) afresh into target (room bytes), flushed.
// Returns the bytes written, or -1 when they don't fit.
long EncodeFresh(UConverter* encoder, const UChar* units, size_t count, char* target, long room) {
  ucnv_resetFromUnicode(encoder);
  UErrorCode status = U_ZERO_ERROR;
  char* out = target;
  const UChar* in = units;
  ucnv_fromUnicode(encoder, &out, target + room, &in, units + count, nullptr, true, &status);
  if (U_FAILURE(status)) return -1;
  return out - target;
}

// Where the exact path stands in one round of decoded text.
struct Round {
  std::vector<UChar> units;
  std::vector<int32_t> offsets;  // source offset of each unit's character
  std::vector<int32_t> unitOf;   // unit of each byte written
  size_t count = 0;              // units that belong to whole characters
  long extent = 0;               // source bytes of those characters
  int error = 0;                 // a read failure right behind them
  bool last = false;             // the source ends behind them
};

// A cut at unit k keeps whole source characters and whole code points.
bool IsBoundary(const Round& round, size_t k) {
  if (k == 0 || k >= round.count) return true;
  if (U16_IS_LEAD(round.units[k - 1]) && U16_IS_TRAIL(round.units[k])) return false;
  return round.offsets[k] != round.offsets[k - 1];
}

// Decodes from source: as many whole characters as fit a round. Returns
// false when the round must be repeated with more room (a character of a
// stateful encoding can't be restarted in the middle of the text).
bool Decode(GCConversion* conversion, const char* source, long left, size_t room, Round& round) {
  round.units.resize(room);
  round.offsets.resize(room);
  const long take = std::min(left, MaxCall);
  const bool all = take == left;
  ucnv_resetToUnicode(conversion->decoder);
  UErrorCode status = U_ZERO_ERROR;
  UChar* out = round.units.data();
  const char* in = source;
  ucnv_toUnicode(conversion->decoder, &out, out + room, &in, source + take, round.offsets.data(), all,
                 &status);
  const size_t produced = out - round.units.data();
  round.error = 0;
  round.last = false;
  if (status == U_BUFFER_OVERFLOW_ERROR || (U_SUCCESS(status) && !all)) {
    if (conversion->statefulSource && status == U_BUFFER_OVERFLOW_ERROR) return false;
    // The last character may be cut: drop it and start the next round on it.
    size_t keep = produced;
    while (keep > 0 && round.offsets[keep - 1] == round.offsets[produced - 1]) --keep;
    if (keep == 0) return false;
    round.count = keep;
    round.extent = round.offsets[keep];
    return true;
  }
  round.count = produced;
  if (U_FAILURE(status)) {
    char invalid[InvalidRoom];
    int8_t length = sizeof invalid;
    UErrorCode ignored = U_ZERO_ERROR;
    ucnv_getInvalidChars(conversion->decoder, invalid, &length, &ignored);
    round.extent = (in - source) - (U_SUCCESS(ignored) ? length : 0);
    round.error = status;
    return true;
  }
  round.extent = take;
  round.last = true;
  return true;
}

// Encodes the round's characters into target: all of them, or as many whole
// ones as the encoder maps and the room holds. Gives the units kept and the
// bytes written, and the mapping failure that stopped it, if any.
struct Encoded {
  size_t units = 0;
  long bytes = 0;
  int error = 0;
};

Encoded Encode(GCConversion* conversion, Round& round, char* target, long room) {
  UConverter* encoder = conversion->encoder;
  // The round can't produce more than this, so the byte offsets need no
  // more room and a larger target can't overflow.
  const long most = UCNV_GET_MAX_BYTES_FOR_STRING(static_cast<long>(round.count), ucnv_getMaxCharSize(encoder));
  const long take = std::min(room, most);
  round.unitOf.resize(static_cast<size_t>(take));
  ucnv_resetFromUnicode(encoder);
  UErrorCode status = U_ZERO_ERROR;
  char* out = target;
  const UChar* in = round.units.data();
  ucnv_fromUnicode(encoder, &out, target + take, &in, round.units.data() + round.count, round.unitOf.data(),
                   true, &status);
  if (U_SUCCESS(status)) return {round.count, out - target, 0};

  // The last cut worth trying: behind the character that failed to map, or
  // behind the character whose bytes were being written when room ran out.
  size_t limit;
  int error = 0;
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    const int32_t last = out > target ? round.unitOf[out - target - 1] : 0;
    limit = last < 0 ? round.count : std::min(round.count, static_cast<size_t>(last) + 2);
  } else {
    UChar invalid[InvalidRoom];
    int8_t length = InvalidRoom;
    UErrorCode ignored = U_ZERO_ERROR;
    ucnv_getInvalidUChars(encoder, invalid, &length, &ignored);
    limit = (in - round.units.data()) - (U_SUCCESS(ignored) ? length : 0);
    error = status;
  }
  for (size_t k = std::min(limit, round.count);; --k) {
    if (!IsBoundary(round, k)) continue;
    long bytes = EncodeFresh(encoder, round.units.data(), k, target, take);
    if (bytes >= 0) return {k, bytes, k == limit ? error : 0};
    if (k == 0) return {0, 0, 0};
  }
}

// The exact path: whole characters only, counts that say where it stopped.
int ConvertExact(GCConversion* conversion, char** target, long* targetLeft, const char** source,
                 long* sourceLeft) {
  Round round;
  size_t room = ExactChunk;
  if (conversion->statefulSource) room = static_cast<size_t>(std::min(*sourceLeft, MaxCall)) * 2 + 64;
  while (*sourceLeft > 0) {
    if (!Decode(conversion, *source, *sourceLeft, room, round)) {
      room *= 2;
      continue;
    }
    Encoded encoded = Encode(conversion, round, *target, *targetLeft);
    const long consumed = encoded.units == round.count ? round.extent : round.offsets[encoded.units];
    *source += consumed;
    *sourceLeft -= consumed;
    *target += encoded.bytes;
    *targetLeft -= encoded.bytes;
    if (encoded.units < round.count) return encoded.error ? encoded.error : GC_CONVERT_TARGET_FULL;
    if (round.error) return round.error;
    if (round.last) return 0;
  }
  return 0;
}

}  // namespace

GCConversion* GCOpenConversion(GCLocale* destination, GCLocale* source, int) {
  if (!destination || !source) return nullptr;
  auto* conversion = new GCConversion;
  conversion->decoder = Clone(source->prototype);
  conversion->encoder = Clone(destination->prototype);
  conversion->statefulSource = source->stateful;
  if (!conversion->decoder || !conversion->encoder) {
    GCCloseConversion(conversion, 0);
    return nullptr;
  }
  return conversion;
}

void GCCloseConversion(GCConversion* conversion, int) {
  if (!conversion) return;
  ucnv_close(conversion->decoder);
  ucnv_close(conversion->encoder);
  delete conversion;
}

int GCConvertBuffer(GCConversion* conversion, char** target, long* targetLeft, const char** source,
                    long* sourceLeft, int) {
  if (!conversion || !target || !targetLeft || !source || !sourceLeft) return U_ILLEGAL_ARGUMENT_ERROR;
  if (*sourceLeft <= 0) return 0;
  if (*targetLeft < 0) *targetLeft = 0;
  if (*sourceLeft <= MaxCall && *targetLeft <= MaxCall) {
    char* out = *target;
    const char* in = *source;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_convertEx(conversion->encoder, conversion->decoder, &out, out + *targetLeft, &in, in + *sourceLeft,
                   nullptr, nullptr, nullptr, nullptr, true, true, &status);
    if (U_SUCCESS(status) && in == *source + *sourceLeft) {
      *targetLeft -= out - *target;
      *target = out;
      *sourceLeft = 0;
      *source = in;
      return 0;
    }
  }
  return ConvertExact(conversion, target, targetLeft, source, sourceLeft);
}
