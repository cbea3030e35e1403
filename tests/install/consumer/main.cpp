// A program outside the project: it uses each documented area of the
// installed library through the installed headers alone, and fails (exit 1,
// with the step on standard error) when a step does not do what it should.
#include <plinth/plinth.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

PLINTH_DIAG_FILE();

namespace {
int Fail(const char* step) {
  std::fprintf(stderr, "consumer: %s\n", step);
  return 1;
}

std::string Slurp(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}
}  // namespace

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  Logger* logger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", dir);
  logger->initLogger(init, nullptr);
  LoggerParams ring;
  ring.InsertString("name", "consumer");
  ring.InsertString("logical_name", "consumer_ring");
  ring.InsertInt("type", eCyclicFile);
  ring.InsertInt("mode", 0x88);
  ring.InsertInt("file_num", 2);
  ring.InsertInt("message_num", 10);
  if (logger->createDest(ring) != 0) return Fail("ring");
  logger->openDest("consumer_ring");
  if (logger->writeDest("consumer_ring", "hello from outside\n", 0, 0)) return Fail("write");

  TDiag* diag = TDiag::Instance();
  DbgLevelStore(plinth_diag_levels_.m_nDebugLevel, 7);
  diag->Initialize(dir, dir, "consumer");
  {
    PLINTH_DIAG_FUNC("consumer_main");
    PLINTH_DIAG(3, "diagnostic line " << 42);
  }
  diag->FlushDiagLog();
  std::string diagFile;
  auto* dest = dynamic_cast<LoggerFileDest*>(logger->getDest(diag->m_sDestName));
  if (!dest) return Fail("diagnostic destination");
  dest->GetFileName(diagFile);
  if (Slurp(diagFile).find("diagnostic line 42") == std::string::npos) return Fail("diagnostic line");

  std::ofstream(dir + "/messages.txt") << "@@ORDER 0 1 2 3 4 5 8 6 7\n"
                                          "FIL 1001 W FILE_SLOW \"Slow disk\" Files 390 170 [Took {1} s]\n";
  std::string error;
  if (!InitOCMessageMgr(dir, "messages.txt", OCMessageMgr::DefaultPattern, error)) return Fail(error.c_str());
  OCMessage msg(1001, nullptr);
  msg.addArg("12");
  if (msg.decorate().find("Took 12 s") == std::string::npos) return Fail("message");

  std::ofstream(dir + "/logmsgs.txt") << "QRX0001 I 0 a consumer_msgs * - sent %s\n";
  StringIntPair contexts[] = {{"a", 0}};
  DestinationData seq{};
  seq.m_nType = eSequentialFile;
  std::snprintf(seq.m_sName, sizeof seq.m_sName, "consumer-msgs");
  std::snprintf(seq.m_sLogicalName, sizeof seq.m_sLogicalName, "consumer_msgs");
  const int rc = Init((dir + "/logmsgs.txt").c_str(), "QRX", "consumer", contexts, 1, nullptr, 0, &seq, 1, 16, 0,
                      dir.c_str());
  if (rc != 100 && rc != 500) return Fail("message logger");
  if (!WriteToLog(1, "once", nullptr)) return Fail("WriteToLog");
  WaitForThread();
  if (Slurp(dir + "/consumer-msgs.txt").find("sent once") == std::string::npos) return Fail("logged message");

  try {
    throw QLNError("consumer", 7, 1, "main.cpp", 3);
  } catch (const std::exception& e) {
    if (std::string(e.what()).find("code 7") == std::string::npos) return Fail("QLNError");
  }
  read_write_semaphore2 sem(true);
  { sem2_read_lock r(sem); }
  { sem2_write_lock w(sem); }
  DynamicLibrary none("libzlt-no-such-library.so");
  if (none.IsLoaded() || i18n_aux::cmp_nocase("ABC", "abc") != 0) return Fail("system and text");
  std::printf("consumer wrote %s\n", diagFile.c_str());
  return 0;
}
