// The world of one simulated appliance: the clock, the dice, the disk, the configuration, what the cloud wants, and
// what the plugins should be by now. All of it is plain data in shared memory, because it outlives the agent's process.
//
// A life of the agent, from a start to a restart or a power cut, is one child forked from a parent that never runs a
// line of the agent: the child begins with the agent's, libcurl's and OpenSSL's statics as the linker and the loader
// made them, ends as the real process does (exit, or nothing more at all), and needs nothing put back. Putting .data
// and .bss back in place would have to reach into the libraries and their heaps as well, and would hide what it missed.
#ifndef KELVANE_TESTS_SIMULATE_WORLD_H
#define KELVANE_TESTS_SIMULATE_WORLD_H

#include <cstddef>
#include <cstdint>

#include "platform/records.h"
#include "tests/simulate/dice.h"

namespace simulate {

inline constexpr int64_t kMinute = 60;
inline constexpr int64_t kHour = 3600;
inline constexpr int64_t kDay = 86400;

// ---- what the cloud wants --------------------------------------------------------------------------------------

inline constexpr int kNames = 11;
inline constexpr int kMostWanted = 8;

enum class Settings : uint8_t {
  kNoEntry,     // the configuration has no settings for it
  kNoJson,      // settings that are no JSON
  kPublicOnly,  // no protected settings
  kNoCommand,   // both, without a command
  kInvalid,     // both, and a command that is refused
  kPartial,     // an event hub command that lacks a part
  kEventHub,    // a whole one
  kSecret,      // a whole one among the protected settings, which can be decrypted with the tenant's key; public none
  kBoth,        // a whole one in each
  kCount,
};

enum class Asked : uint8_t { kEnabled, kDisabled, kUninstall, kUnknown };

struct Wanted {
  int name;  // row of kNameTexts
  char version[48];
  Asked asked;
  bool other_case;  // the state's text is written in capitals
  int32_t sequence_number;
  int32_t settings_number;  // that the settings' texts name; the same, but where another entry's number goes with them
  int32_t secret;           // which of the protected settings go with it, if any
  Settings settings;
};

struct Revision {
  int32_t incarnation;
  int32_t count;
  bool page_blob;
  bool readable;  // the certificates are for this appliance
  Wanted wanted[kMostWanted];
};

// ---- what the plugins should be --------------------------------------------------------------------------------

enum class State : uint8_t { kAbsent, kInstalled, kEnabled };

struct Expected {
  bool known;  // registered; written to the status file
  bool
      unversioned;  // installed under an empty version: no state is told for it, and the next install changes no number
  State state;
  uint32_t installed;
  int32_t sequence_number;
  int64_t command_time;
  char version[32];
  char extension_name[256];
  char message[256];
};

struct Expectation {
  Expected plugins[kNames];
  char appliance_id[NCFG_EVENT_HUB_TEXT_SIZE];  // of the event hub, as last configured
};

// ---- the disk --------------------------------------------------------------------------------------------------

inline constexpr int kFiles = 20;
inline constexpr size_t kFileSize = size_t{64} * 1024;

struct File {
  bool exists;
  bool synced;  // a power cut does not touch it
  char path[64];
  char before[64];  // its path before it was renamed, until that is synced; empty for none
  size_t length;
  char bytes[kFileSize];
};

// ---- the appliance's configuration -----------------------------------------------------------------------------

inline constexpr int kAccounts = 4;
inline constexpr int kDashboard = 8;
inline constexpr int kKeys = 3;

struct Account {
  ncfg_account record;
  int widgets;
  ncfg_dashboard_entry dashboard[kDashboard];
  bool gui;
  char keys[kKeys][64];
};

struct Configuration {
  ncfg_system_settings settings;
  ncfg_interface port;
  ncfg_event_hub event_hub;
  int accounts;
  Account account[kAccounts];
};

// ---- the first boot --------------------------------------------------------------------------------------------

// What lies in the drive for the first boot, the same for all starts of a world.
struct Media {
  bool there;
  bool iso;       // its file system is the second that is tried
  bool password;  // the document has one
  bool refused;   // the policy is against it
  bool custom;    // there is custom data
  int keys;       // in the document
};

// What the starts without the marker have come by so far.
struct FirstBoot {
  bool document;  // the document was read, from the drive or from the copy of an earlier start
  bool custom;    // custom data was there to be copied
  bool spoilt;    // a call failed: what it was for may be missing
  bool over;      // a start came through it: nothing of it may be lost any more
};

// ---- what happened ---------------------------------------------------------------------------------------------

inline constexpr int kRing = 30;

struct Happening {
  int64_t at;    // seconds since the first start
  int64_t last;  // of the last of several alike
  uint32_t times;
  char text[120];
};

struct Counts {
  uint64_t passes, clean_passes, settled_checks, documents, memory_checks;
  uint64_t commands, requests, faults, revisions, restarts, cuts, jumps, first_boots, spoilt_boots, metadata_lives;
  uint64_t missed;                     // changes that a broken answer under its ETag hid
  uint64_t wire_changes, wire_missed;  // incarnations that were told; of these, whose extensions did not come through
  uint64_t secret_commands;            // enabled from protected settings that were opened
  uint64_t passwords;                  // of the administrator's, changed from protected settings
  uint64_t seventh_names;              // in a status document that has room for six
  uint64_t status_files, hub_commands, heartbeats, posted;
  uint64_t troubles, dumps, failed_calls, failed_writes;
  uint64_t longest_queue;
  uint64_t longest_silence;  // in seconds, from one pass to the next; the clock set back not counted
  uint64_t rise;             // of memory, in bytes, between two times in a life at which nothing was wanted
};

enum class End : uint8_t { kNone, kRestart, kPowerCut, kGivenUp, kOver, kBroken };

struct World {
  uint64_t seed;
  Dice dice;
  bool log;     // a replay: the agent's lines are printed
  bool steady;  // no restarts and no power cuts: one life long enough to see a slow leak

  int64_t now;     // seconds since the first start
  int64_t offset;  // of the wall clock
  int64_t until;
  int64_t next_event;  // nothing happens before
  int64_t change_at, restart_at, cut_at, jump_at, command_at, trouble_at;
  int64_t mean_change, mean_restart, mean_cut, mean_jump, mean_trouble;
  uint32_t fault_percent;
  uint32_t readable_percent;  // of the revisions come with certificates that this appliance can read
  uint32_t metadata_percent;  // of the starts find no wire server and take the metadata service
  int64_t endpoint_at;        // when the lease with the wire server's address comes, in this life
  bool metadata;              // what the agent must have chosen from that
  int64_t last_pass;          // start of the last pass, of whichever life
  int64_t back_since_pass;    // seconds that the wall clock was set back since
  int32_t cut_at_call;        // counts down calls to a power cut; 0 for none

  int64_t trouble_until;
  bool port_hidden;    // a look for the first port failed in this life: the agent gives up its start
  bool keyless;        // no transport certificate could be made in this life
  bool restart_asked;  // and not served
  bool restart_due;    // in this turn of the loop, as it was asked for before
  bool hub_in_doubt;   // a call that configures the event hub failed, and what is pending may yet be written
  bool status_spoilt;  // there is no status file, or none that was written whole

  Revision current, previous;
  Expectation durable;  // what the status file holds, as it should be
  Configuration configuration, written;
  char kernel_host[NCFG_HOST_NAME_LENGTH + 1];
  Media media;
  FirstBoot first_boot;
  ncfg_debug_zone zone;
  File files[kFiles];

  Happening ring[kRing];
  uint64_t happenings;
  Counts counts;
  uint64_t digest;
  End end;
  char failure[512];
};

// The one world; made by world_make, shared with the children.
extern World *gsWorld;
inline World &world() {
  return *gsWorld;
}

extern const char *const kNameTexts[kNames];

// -1 for a name that is none of them.
int row_of(const char *name);

// Maps the world, empty.
void world_make();

// A new appliance for a seed: clock at zero, empty disk, factory configuration, its own habits.
void world_begin(uint64_t seed, int64_t seconds);

// The wall clock.
int64_t wall_clock();

// Notes what happened; the same text again only counts.
void happened(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The last thirty happenings, oldest first, to standard output.
void print_happenings();

// Folds bytes into the digest of the run, by which two plays of a seed are compared.
void digest_add(const void *bytes, size_t size);

// An invariant does not hold: keeps the first text and ends the life.
[[noreturn]] void broken(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Ends the life as it is said. A restart or the end of time goes through exit, so that what looks for leaks at the end
// of a process sees this one; a power cut does not.
[[noreturn]] void end_life(End end);

}  // namespace simulate

#endif
