#include "host/commands.h"

int main(int argc, char** argv) {
  return static_cast<int>(host::runCommandLine(argc, argv));
}
