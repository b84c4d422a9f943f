// Reads a payload as a command and leaves the parse log in its own folder: commandReader KIND HEX. Exits with 0 where
// the payload was refused.

#include <cstdlib>

#include "server/NQCommand.h"
#include "tests/support/hex.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    const NQCommand command(static_cast<qvs::MessageKind>(std::atoi(argv[1])), test::fromHex(argv[2]), true);
  } catch (const NQBreakConnection&) {
    return 0;
  }
  return 1;
}
