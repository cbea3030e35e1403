// The process-wide catalogue of numbered messages from one message file, and the functions that start and
// end it. Load it from one thread before others look messages up; look-ups may then run in parallel.
// Failures come back as a bool with their text in an `error` string; nothing throws.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "plinth/plinth_export.h"
#include "plinth/message/message.h"
#include "plinth/platform/os/os_critical_section.h"

class PLINTH_API OCMessageMgr {
public:
  // Created on first use, also by a look-up before InitOCMessageMgr.
  static OCMessageMgr* getInstance();
  ~OCMessageMgr();
  OCMessageMgr(const OCMessageMgr&) = delete;
  OCMessageMgr& operator=(const OCMessageMgr&) = delete;

  // Reads m_sRootDir/m_sFile once; later calls return true at once. `error`
  // gets the failure text, or empty text, when a load ran.
  bool load_messages(std::string& error);
  // The logical names that the load collected, one per line and separated
  // by commas, ready to stand inside an enumeration. Loads first if needed.
  std::string generate_msg_header(std::string& error);
  // A copy of entry `id`, or of the default entry (number 0) when there is
  // none, with the given type and, if not null, the context assigned.
  OCMessage locateAndSetMessage(int id, StreamArray* context, OCMessageType type) const;

  void setRootDir(const std::string& rootDir) { m_sRootDir = rootDir; }
  void setFile(const std::string& file) { m_sFile = file; }
  void setPattern(const std::string& pattern) { m_sPattern = pattern; }
  std::string getPattern() const { return m_sPattern; }

  // The pattern that the catalogue keeps for its callers.
  static const char* const DefaultPattern;
  // The pattern that every message made by the catalogue carries.
  static const char* const EntryPattern;

  static std::atomic<OCMessageMgr*> m_pTheObject;

  std::atomic<bool> m_bLoaded{false};
  std::string m_sFile;
  std::string m_sRootDir;
  std::string m_sFullPath;
  std::string m_sPattern;
  std::map<int, std::unique_ptr<OCMessage>> m_Messages;
  os_critical_section m_Lock;
  std::stringstream m_HeaderStream;
  // Indexes into a record's fields of prefix, number, severity, logical
  // name, title, source, description, box width, box height.
  int m_nOrder[9] = {};
  bool m_bExpectOrder = true;

private:
  OCMessageMgr();
  bool iterate_records(std::string& error);
  bool set_attribute_order(const std::string& line);
  bool add_message(const std::string& line);
  void insert_default_entry();
};

// Destroys the catalogue; a later use creates a new, empty one.
PLINTH_API void exit_messagemgr();
// Creates the catalogue if needed, stores the three strings and loads the
// file. False when the load fails or the catalogue can't be allocated.
PLINTH_API bool InitOCMessageMgr(const std::string& rootDir, const std::string& file, const std::string& pattern,
                      std::string& error);
