// The locale library's data functions: starting it on a locale directory,
// listing the encodings and languages it knows, and texts about a
// language's locale. Built on ICU's own data. Any thread may call them once
// GCInit has run. Failures are result codes, never exceptions.
#pragma once

#include "plinth/platform/gc/gc.h"

// Kinds that GCEnumLocales reports; callers skip kinds they don't know.
inline constexpr int GC_LOCALE_LANGUAGE = 0;
inline constexpr int GC_LOCALE_TERRITORY = 1;
inline constexpr int GC_LOCALE_ENCODING = 2;

// Selector of GCGetLocaleTextInfo: the language's abbreviated name.
inline constexpr int GC_TEXT_ABBREVIATED_LANGUAGE = 3;

// Result of GCInit for a library that was started before.
inline constexpr int GC_INIT_AGAIN = 10;

// Answers 1 to go on, 0 to stop the listing.
using GCEnumLocalesProc = int (*)(void* context, int kind, char const* name);

// 0 when the locale directory is an existing directory and the library's
// data is usable, GC_INIT_AGAIN on later successful calls, another code
// (an ICU error number) when either fails. The four words are reserved, 0.
int GCInit(char const* directory, long reserved1, long reserved2, long reserved3, long reserved4);
// Calls proc once per name, in a fixed order, until it answers 0: every
// encoding that GCGetLocale opens as "." + name, every language that it
// opens as the name, and the territories.
void GCEnumLocales(GCEnumLocalesProc proc, void* context, int flags);
// Stores the text of selector and a terminating zero in buffer (size bytes).
// The result is the number of characters stored before the zero; -1 on
// failure, with the code in GCGetError(locale).
int GCGetLocaleTextInfo(GCLocale* locale, int selector, char* buffer, int size, int flags);
