// The plugin status file, "/data/etc/.plugin_status": what the plugin manager knows, as one JSON array, so that a
// restart neither repeats an enable nor forgets an installed version. Called by the plugin manager; blocks for as long
// as the disk does. A file that is missing, unreadable, no regular file or no JSON leaves the defaults, and nothing is
// logged; one of more than 2 MB (kJsonMaxBytes) is not read at all. Of more than 1,000 plugins the first are taken. No
// more are written, nor more than the 2 MB that are read again: the first ones. From level 1 on a line tells what was
// cut or not read.
#ifndef KELVANE_PLUGINS_PLUGIN_STATUS_FILE_H
#define KELVANE_PLUGINS_PLUGIN_STATUS_FILE_H

namespace kelvane {

// Applies the file to the registered plugins, registering one for each unknown name in it.
void plugin_status_load();

// Deletes the file and writes it anew, mode 0600. Failures are silent; but when memory runs out for any value of it, or
// for cutting what is too long, the old file stays, and a line tells. (json-c does not check all that it needs for the
// text of the whole.)
void plugin_status_save();

}  // namespace kelvane

#endif
