// A layer between SQLite and its files: it counts what SQLite does to them as sites of the class "database", lets it
// fail or stop there, and knows which writes have not been synced, so that a loss of power can take them back. What is
// done after the agent's end, when the files are closed, is of the class "closing". It is SQLite's default once it is
// in use. Blocks for as long as the disk does.
#ifndef KELVANE_TOOLS_SANDBOX_DATABASE_LAYER_H
#define KELVANE_TOOLS_SANDBOX_DATABASE_LAYER_H

namespace sandbox {

// Before the first database is opened. Throws std::runtime_error when SQLite refuses.
void use_database_layer();

// Everything that was written so far is on the disc.
void database_made_durable();

// Takes back the writes and removals that were not synced, or some of them, each its own choice (durability.h): of two
// writes the later one may stay alone, and of some only the first half does. Memory that processes share is gone. The
// process must not go on afterwards.
void lose_power_of_database(unsigned number);

}  // namespace sandbox

#endif
