// Quick start: a ring of 3 log files of 10 lines each.
//   quickstart_ring DIR   writes ring.0.txt ... into DIR
#include <plinth/plinth.h>

#include <filesystem>
#include <iostream>
#include <string>

namespace {
void OnFailure(const std::string& text) { std::cerr << "log write failed: " << text; }
}  // namespace

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  Logger* logger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", dir);  // the destinations' directory, and the emergency file's
  logger->initLogger(init, &OnFailure);

  LoggerParams ring;
  ring.InsertString("name", "ring");
  ring.InsertString("logical_name", "ring_log");
  ring.InsertInt("type", eCyclicFile);
  ring.InsertInt("mode", 0x88);
  ring.InsertInt("file_num", 3);
  ring.InsertInt("message_num", 10);
  if (logger->createDest(ring) != 0) return 1;  // 1: see OrbLogEmergencyFile.* in dir
  logger->openDest("ring_log");
  for (int i = 1; i <= 25; ++i) logger->writeDest("ring_log", "line " + std::to_string(i) + "\n", 0, 0);
  exit_logger();

  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir))
    if (entry.path().filename().string().rfind("ring", 0) == 0) ++files;
  std::cout << files << " ring files in " << dir << '\n';
  return files == 3 ? 0 : 1;
}
