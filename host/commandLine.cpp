#include "host/commands.h"

namespace host {

void addCommands(Command program, ExitStatus& status) {
  addRecordCommand(program, status);
  addInspectCommand(program, status);
  addVerifyCommand(program, status);
  addRepairCommand(program, status);
  addExportCommand(program, status);
  addPlaylistCommand(program, status);
  addKeysCommand(program, status);
  addUnprotectCommand(program, status);
}

}  // namespace host
