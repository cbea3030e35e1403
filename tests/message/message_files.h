// Message files for the catalogue's tests.
#pragma once

#include <string>

#include "common/temp_dir.h"
#include "plinth/message.h"

namespace plinth_test {

inline const std::string kOrderLine = "@@ORDER 0 1 2 3 4 5 8 6 7\n";

// The five-line example file of the message file format.
inline const std::string kExampleFile =
    "# file and queue messages\n--- order of the columns\n" + kOrderLine +
    "FIL 1000 E FILE_ENTRY=1000 \"Open failed\" Files 400 200 [Cannot open {1}{endl}~Ask the administrator]\n"
    "FIL 1001 W FILE_SLOW \"Slow disk\" \"File manager\" 390 170 [Reading {%s} took {2} seconds]\n";

// Writes `text` as dir/messages.txt and loads it into the catalogue.
inline bool LoadText(const TempDir& dir, const std::string& text, std::string& error) {
  WriteFile(dir / "messages.txt", text);
  return InitOCMessageMgr(dir.path(), "messages.txt", OCMessageMgr::DefaultPattern, error);
}

inline size_t TableSize() { return OCMessageMgr::getInstance()->m_Messages.size(); }
inline bool Has(int id) { return OCMessageMgr::getInstance()->m_Messages.count(id) != 0; }

}  // namespace plinth_test
