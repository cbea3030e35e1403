// The one export macro of the library. Every class, function and data item
// of the public interface carries PLINTH_API; everything else stays inside
// libzlt-plinth-4.0.so once the library builds with hidden visibility.
#pragma once

#if defined(__GNUC__)
#define PLINTH_API __attribute__((visibility("default")))
#else
#define PLINTH_API
#endif
