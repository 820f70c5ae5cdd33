// What a loss of power does to files: changes that were not yet made durable may be gone, alone or together, and the
// end of a file may be missing. What is below the root at the start is durable. A change is noted before it is made;
// fsync of a file, or of the folder that it is in, makes it durable as it is. A rename is undone on both sides or on
// neither. The files of the configuration database are not in here: database_layer.h has them. Blocks for as long as
// the disk does.
#ifndef KELVANE_TOOLS_SANDBOX_DURABILITY_H
#define KELVANE_TOOLS_SANDBOX_DURABILITY_H

#include <string>

namespace sandbox {

// The file at this place of the machine is about to be made, replaced, written to or removed.
void about_to_change(const std::string &place);
// The same for both names of a rename.
void about_to_rename(const std::string &from, const std::string &to);

// The file or folder behind the descriptor was synced.
void made_durable(int descriptor);

// Loses what is not durable: everything for the number 0, and for other numbers some of it, each its own choice; some
// of the files that stay are cut short. The database's files lose their part, too.
void lose_power(unsigned number);

// The choice of loss `number` for the thing of that name: 0 gone, 1 kept, 2 kept in part.
unsigned choice_of_loss(unsigned number, const std::string &name);

}  // namespace sandbox

#endif
