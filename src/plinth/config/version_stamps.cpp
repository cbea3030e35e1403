// The library's own version stamps. The build writes their values into
// version_stamp_values.h; the texts stand whole in the binary so that a
// tool that searches files for text can read them.
#include "plinth/config/version_registry.h"
#include "plinth/config/version_stamp_values.h"

#define PLINTH_STAMP(component)                                                              \
  "@(#) ocversionstamp;name=" component ";version=" PLINTH_STAMP_VERSION                    \
  ";build=" PLINTH_STAMP_BUILD ";timestamp=" __DATE__ " " __TIME__ ";os=" PLINTH_STAMP_OS \
  ";compiler=" PLINTH_STAMP_COMPILER ";location=" PLINTH_STAMP_LOCATION                     \
  ";host=" PLINTH_STAMP_HOST ";note=;"

extern const char PlinthVersionStamp[] __attribute__((used)) = PLINTH_STAMP_MARKER;

namespace {
const char kDiagStamp[] = PLINTH_STAMP("plinth_diag");
const char kUtilStamp[] = PLINTH_STAMP("plinth_util");

// In this order: plinth_diag, then plinth_util.
const OcVersionDefiner gDiagVersion("plinth_diag", kDiagStamp);
const OcVersionDefiner gUtilVersion("plinth_util", kUtilStamp);
}  // namespace
