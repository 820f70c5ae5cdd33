// A layer between SQLite and its files: it counts what SQLite does to them as sites of the class "database", lets it
// fail or stop there, and tells database_loss.h of it, so that a loss of power can take it back. What is done after the
// agent's end, when the files are closed, is of the class "closing". It is SQLite's default once it is in use. Blocks
// for as long as the disk does.
#ifndef KELVANE_TOOLS_SANDBOX_DATABASE_LAYER_H
#define KELVANE_TOOLS_SANDBOX_DATABASE_LAYER_H

namespace sandbox {

// Before the first database is opened. Throws std::runtime_error when SQLite refuses.
void use_database_layer();

}  // namespace sandbox

#endif
