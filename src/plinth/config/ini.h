// Ini: one strict INI file in memory (groups of key-value pairs, names
// compared ignoring case), read from a file or any input stream, looked up
// with optional %NAME% expansion from the environment, changed and written
// back. No member takes a lock: one object belongs to one thread at a time.
// Every failure is a QLNError whose code is one of the sixteen numbers of
// ExceptionNumberToString, severity 12, placed "ini <line>".
#pragma once

#include <cstddef>
#include <istream>
#include <list>
#include <map>
#include <string>

#include "plinth/plinth_export.h"

// Orders names byte by byte after toupper, the shorter first on a common
// prefix: two names that differ only in case are one name.
struct PLINTH_API StrCmpInSensitive {
  bool operator()(std::string const& a, std::string const& b) const;
};

class Ini;

// One group as the iterator yields it: its name and its key table inside
// the Ini (null when taken from the end iterator).
struct PLINTH_API Group {
  using KeyTable = std::map<std::string, std::string, StrCmpInSensitive>;

  std::string m_sGroupName;
  const KeyTable* m_pKeys = nullptr;
};

class PLINTH_API IniGroupIterator {
public:
  IniGroupIterator(const IniGroupIterator&) = default;
  IniGroupIterator& operator=(const IniGroupIterator&) = default;
  ~IniGroupIterator() = default;

  Group operator*();
  // Past the last group the iterator becomes the end iterator.
  IniGroupIterator& operator++();
  IniGroupIterator operator++(int);
  // The Ini and the position decide.
  bool operator==(const IniGroupIterator& other) const;
  bool operator!=(const IniGroupIterator& other) const { return !(*this == other); }

protected:
  friend class Ini;
  IniGroupIterator(Ini* ini, bool atEnd);

  using GroupTable = std::map<std::string, Group::KeyTable, StrCmpInSensitive>;

  const Group::KeyTable* m_pKeys = nullptr;
  Ini* m_pIni = nullptr;
  std::string m_sGroupName;
  GroupTable::const_iterator m_Pos;
  GroupTable::const_iterator m_End;

private:
  void Settle();
};

class PLINTH_API Ini {
public:
  using KeyTable = Group::KeyTable;
  using GroupTable = std::map<std::string, KeyTable, StrCmpInSensitive>;

  // Acts as LoadAdd(file, readOnly) on an empty object.
  Ini(std::string const& file, bool readOnly);
  // Reads the stream, which stays the caller's; the file name stays empty.
  Ini(std::istream& in, bool readOnly);
  Ini(Ini const& other);
  Ini& operator=(Ini const& other);
  virtual ~Ini();

  // Empties the group table, then acts as LoadAdd.
  void Load(std::string const& file, bool readOnly);
  // Stores name and flag first; an empty name reads nothing. Groups already
  // held win over groups of the same name in the file. A file that can't be
  // opened or read throws 1; a failed load keeps the groups read before the
  // failing one.
  void LoadAdd(std::string const& file, bool readOnly);

  bool isGroupExist(std::string const& group);
  bool isGroupHasKey(std::string const& group, std::string const& key) const;
  // The value (expanded when asked), or def as it stands.
  std::string GetKeyValue(std::string const& group, std::string const& key, std::string const& def,
                          bool expandEnvironment) const;
  // GetKeyValue with expansion; found (may be null) tells whether the key
  // exists.
  std::string GetString(std::string const& group, std::string const& key, std::string const& def,
                        bool* found) const;
  // Null when the group is absent. Valid until the group is erased or
  // replaced, or the Ini goes.
  KeyTable const* GetGroupProperty(std::string const& group);
  void GetGroupNames(std::list<std::string>& names);
  IniGroupIterator begin();
  IniGroupIterator end();

  // Whether the key existed before; true for a group that didn't exist.
  bool SetKeyValue(std::string const& group, std::string const& key, std::string const& value);
  // Replaces the group by an empty one; whether it existed before.
  bool InsertNewGroup(std::string const& group);
  void EraseGroup(std::string const& group);
  void EraseKey(std::string const& group, std::string const& key);

  // Writes every group to file (the stored name when empty), replacing the
  // old content. Throws 2 when read-only, 3 when the file can't be opened
  // or written.
  virtual void FlushIniDataToFile(std::string const& file);

  // The text of an error number; numbers outside 1..15 give the empty text.
  static std::string const& ExceptionNumberToString(int number);

protected:
  void ReadDataFromStream(std::istream& in);
  bool GetNextLine(std::istream& in, std::string& line);
  void GetNewGroup(std::istream& in, std::string& line, std::string& groupName, KeyTable& keys);
  void GetGroupName(std::string& line);
  void GetProperties(std::istream& in, std::string& line, KeyTable& keys);
  void GetKey(std::string& line, std::string& key);
  void GetValue(std::string& line, std::string& value);
  bool DoesGroupEnd(std::string const& line);

  friend class IniGroupIterator;

  GroupTable m_Groups;
  bool m_bReadOnly = false;
  std::string m_sFileName;
};
