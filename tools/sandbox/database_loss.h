// What a loss of power does to the files of the configuration database: each write and truncation since the last sync
// of its file lasts, is gone or lasts in part, whatever becomes of the others; a removal that was not synced may be
// undone. Changes are noted before they are made. Blocks for as long as the disk does.
#ifndef KELVANE_TOOLS_SANDBOX_DATABASE_LOSS_H
#define KELVANE_TOOLS_SANDBOX_DATABASE_LOSS_H

#include <string>

#include "tools/sandbox/unsynced.h"

namespace sandbox {

void database_file_opened(const std::string &path);
void about_to_change_database(const std::string &path, DatabaseChange change);
void database_file_synced(const std::string &path);

// With what it held; only when its removal was not synced at once.
void database_file_removed(const std::string &path, bool synced, const std::string &bytes);

// Everything was synced.
void database_made_durable();

// What durability.h says of a loss, for these files. They are no longer to be used.
void lose_power_of_database(unsigned number);

}  // namespace sandbox

#endif
