// What our own tools and the sandbox need of the reference platform beyond platform.h: where its files are, where its
// log goes, and what it stores but the contract cannot list. The agent never includes this. All calls are for one
// thread; those that read the database may wait for another process for a few seconds and then return nothing. They
// throw nothing but std::bad_alloc.
//
// The platform's own files are the database "/data/etc/kelvane-config.db" (SQLite, with "-wal" and "-shm" beside it)
// and the debug record "/run/kelvane-debug". It reaches them through calls that take a folder descriptor (openat,
// mkdirat, renameat, unlinkat, fchmodat, fstatat, faccessat) and through SQLite. Paths that come from its caller
// (ncfg_copyfile) go through plain open, rename and unlink. Who wraps the plain calls at link time to move the caller's
// files therefore does not move the platform's own: reference_set_root does that.
#ifndef KELVANE_PLATFORM_REFERENCE_REFERENCE_H
#define KELVANE_PLATFORM_REFERENCE_REFERENCE_H

#include <cstdint>
#include <string>
#include <vector>

// Puts the platform's own files below this folder ("<folder>/data/etc/...", "<folder>/run/..."), which is created with
// its parents when it is needed. Null or "" is the root folder again. To be called before conf_init (or after
// conf_end).
void reference_set_root(const char *folder);

// The full paths of the platform's own files, for a tool's messages.
std::string reference_database_path();
std::string reference_debug_record_path();

// Log lines go to syslog, and to standard error when that is a terminal. on: to standard error always.
void reference_log_to_stderr(bool on);

// Where every log text goes besides, one call for each message(), exactly as it was formatted (with or without a line
// end, perhaps several lines). Null ends it. The sink must not call message() and need not copy context.
using reference_log_sink = void (*)(const char *text, void *context);
void reference_set_log_sink(reference_log_sink sink, void *context);

// One key slot in use. text is the key as it was stored, "type base64" or "type base64 comment".
struct reference_ssh_key {
  int32_t slot;
  std::string text;
};

// The keys of an account in slot order; empty for an unknown account.
std::vector<reference_ssh_key> reference_ssh_keys(const char *account);

// One entry of the system event log: the arguments of log_system_event, numbered from 1 in order of arrival.
struct reference_event {
  int64_t number;
  int64_t time;  // seconds since 1970
  uint32_t event_id;
  int32_t version;
  int32_t category;
  std::string source;
  int32_t kind;
  int32_t result;
  std::string text;
};

// The entries with a number greater than after, oldest first; 0 for all that are kept (the last thousand).
std::vector<reference_event> reference_events(int64_t after);

#endif
