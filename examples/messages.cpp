// Quick start: numbered messages from one message file, through the generated
// header, to the catalogue and to the message logger.
//   quickstart_messages DIR   writes the message logger's lines into DIR
#include <plinth/plinth.h>

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "app_messages.h"  // made by plinth-msgc: enum AppMessages { OPEN_FAILED=1000, ... }

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";

  // The catalogue: look a message up and format it yourself.
  std::string error;
  if (!InitOCMessageMgr(MESSAGE_DIR, "messages.txt", OCMessageMgr::DefaultPattern, error)) {
    std::cerr << error << '\n';
    return 1;
  }
  OCMessage open(OPEN_FAILED, nullptr);
  open.addArg("a.txt");
  open.addArg("no such file");
  std::cout << open.decorate();

  // The message logger: the same messages, formatted and written by its thread.
  StringIntPair contexts[] = {{"files", 5}, {"*default", 0}};
  DestinationData file;
  file.m_nType = eSequentialFile;
  std::snprintf(file.m_sName, sizeof file.m_sName, "app-messages");
  std::snprintf(file.m_sLogicalName, sizeof file.m_sLogicalName, "app_log");
  const int rc = Init(LOGGER_FILE, "APP", "quickstart", contexts, 2, nullptr, 0, &file, 1, 1000,
                      /*dropWhenFull*/ 1, dir.c_str());
  if (rc != 100 && rc != 500) {  // 500: running without an exits library
    std::cerr << "message logger: Init gave " << rc << '\n';
    return 1;
  }
  WriteToLog(FILE_READ, "a.txt", "12", nullptr);
  WriteToLog(DISK_SLOW, "sda", nullptr);  // level 3, but "disks" is unknown (0) and files is 5: passes
  WaitForThread();
  std::cout << "dropped " << GetDroppedMessageCount() << ", without destination " << GetUndeliveredMessageCount()
            << '\n';

  std::stringstream text;
  text << std::ifstream(dir + "/app-messages.txt").rdbuf();
  std::cout << text.str();
  return text.str().find("ORB1001I Read a.txt in 12 ms") != std::string::npos ? 0 : 1;
}
