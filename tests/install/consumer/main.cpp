// A program outside the project that uses the installed library.
#include <plinth/plinth.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  Logger::InitParams init;
  init.InsertString("path", dir);
  Logger::GetInstance()->initLogger(init, nullptr);
  LoggerParams params;
  params.InsertString("name", "consumer");
  params.InsertString("logical_name", "sequential_files");
  params.InsertInt("mode", 0x84);
  if (Logger::GetInstance()->createDest(params) != 0) return 1;
  if (Logger::GetInstance()->writeDest("sequential_files", "hello from outside\n", 0, 0)) return 1;
  std::printf("consumer wrote %s/consumer.txt\n", dir.c_str());
  return 0;
}
