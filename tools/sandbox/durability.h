// What a loss of power does to files. The model knows two things that become durable each on its own: what a folder
// says (a name was made, removed or moved), by fsync of that folder, and what a file holds, by fsync of that file. So a
// new file may be gone although it was synced, and may be there and empty although it was written. What is below the
// root at the start is durable; what is in the folders that an appliance keeps in memory never is. A rename is undone
// on both sides or on neither. The files of the configuration database are not in here: database_loss.h has them.
// Changes are noted before they are made, those of the platform, too, as far as they are made by wrapped calls. Blocks
// for as long as the disk does.
#ifndef KELVANE_TOOLS_SANDBOX_DURABILITY_H
#define KELVANE_TOOLS_SANDBOX_DURABILITY_H

#include <string>

namespace sandbox {

// Of files at places of the machine. The file is about to be opened for writing, and is made when it is missing; or to
// be removed; or to be made as a symbolic link; or to get another name, or one more.
void about_to_write(const std::string &place, bool empties);
void about_to_remove(const std::string &place);
void about_to_make_link(const std::string &place, const std::string &target);
void about_to_rename(const std::string &from, const std::string &to);
void about_to_name(const std::string &from, const std::string &to);

// What was noted last did not happen.
void not_done();

// The file or folder behind the descriptor was synced.
void made_durable(int descriptor);
// Everything was, the database's files, too.
void all_made_durable();

// Loses what is not durable: for the number 0 everything; for 1 what was written, while all names stay as they are; for
// other numbers some of both, each its own choice. The database's files lose their part, too.
void lose_power(unsigned number);

// The choice of loss `number` for the thing of that name: from 0 to ways - 1, always 0 for the number 0.
unsigned choice_of_loss(unsigned number, const std::string &name, unsigned ways);

}  // namespace sandbox

#endif
