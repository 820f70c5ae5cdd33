#include "tests/simulate/wanted.h"

#include <algorithm>
#include <cstdio>

#include "tests/simulate/secrets.h"
#include "tests/simulate/view.h"
#include "tests/support/base64.h"

namespace simulate {

namespace {

// Equal numbers in other texts, three numbers, and one that is longer than what a plugin keeps.
constexpr const char *kVersions[] = {
    "1.0.0.0",
    "1.2.0.0",
    "1.1.9.9",
    "1.10.0.0",
    "2.0.0.1",
    "2.0.0.10",
    "01.2.0.0",
    "1.2.3",
    "not.a.one",
    "",
    "1.2.0.0.build-of-the-long-winter-2025",
};

constexpr int kKept = 2;                 // of a whole list, in the revision that follows
constexpr char kHighest[] = "2.0.0.10";  // of these

void draw_version(Wanted *wanted) {
  Dice &dice = world().dice;
  // Mostly ordinary ones.
  const uint32_t count = dice.percent(85) ? 6 : sizeof kVersions / sizeof kVersions[0];
  std::snprintf(wanted->version, sizeof wanted->version, "%s", kVersions[dice.below(count)]);
}

void draw_asked(Wanted *wanted) {
  Dice &dice = world().dice;
  const uint32_t roll = dice.below(100);
  wanted->asked = roll < 70   ? Asked::kEnabled
                  : roll < 83 ? Asked::kDisabled
                  : roll < 97 ? Asked::kUninstall
                              : Asked::kUnknown;
  wanted->other_case = dice.percent(10);
}

bool administrator_has(const Configuration &configuration, int32_t secret) {
  return configuration.account[0].record.password == "stored:" + secret_password(secret);
}

bool named(const Revision &revision, int32_t secret) {
  return std::any_of(revision.wanted, revision.wanted + revision.count,
                     [secret](const Wanted &each) { return each.secret == secret; });
}

// Another password than the one that is set, and than what may be set before this comes through.
int32_t new_secret(int32_t secret) {
  const World &w = world();
  while (administrator_has(w.written, secret) || administrator_has(w.configuration, secret) ||
         named(w.previous, secret) || named(w.current, secret)) {
    secret = (secret + 1) % kSecrets;
  }
  return secret;
}

void number(Wanted *wanted, int32_t sequence_number) {
  wanted->sequence_number = wanted->settings_number = sequence_number;
  wanted->secret = new_secret(sequence_number & (kSecrets - 1));
}

void draw_settings(Wanted *wanted) {
  Dice &dice = world().dice;
  const Settings limit = world().readable_percent > 0 ? Settings::kCount : Settings::kSecret;
  wanted->settings = static_cast<Settings>(dice.below(static_cast<uint32_t>(limit)));
  // Numbers that come again, one that means "none" to a plugin, and ever new ones.
  const uint32_t roll = dice.below(100);
  number(wanted, roll < 30 ? static_cast<int32_t>(dice.below(4)) : roll < 33 ? -1 : world().current.incarnation);
}

bool listed(const Revision &revision, int name) {
  return std::any_of(revision.wanted, revision.wanted + revision.count,
                     [name](const Wanted &each) { return each.name == name; });
}

void add(Revision *revision) {
  Dice &dice = world().dice;
  // The one that writes into the configuration comes more often than the others.
  const int name = dice.percent(15) ? 0 : static_cast<int>(dice.below(kNames));
  // One name twice, with other versions, is allowed but rare.
  if (revision->count == kMostWanted || (listed(*revision, name) && !dice.percent(10))) {
    return;
  }
  Wanted &made = revision->wanted[revision->count++];
  made = {};
  made.name = name;
  draw_version(&made);
  draw_asked(&made);
  draw_settings(&made);
}

void remove_one(Revision *revision, uint32_t index) {
  std::copy(revision->wanted + index + 1, revision->wanted + revision->count, revision->wanted + index);
  revision->count--;
}

void change_one(Revision *revision) {
  if (revision->count == 0) {
    add(revision);
    return;
  }
  const uint32_t index = world().dice.below(static_cast<uint32_t>(revision->count));
  Wanted *wanted = &revision->wanted[index];
  switch (world().dice.below(6)) {
    case 0:
      draw_version(wanted);
      break;
    case 1:
      draw_asked(wanted);
      break;
    case 2:
      draw_settings(wanted);
      break;
    case 3:
      remove_one(revision, index);
      break;
    case 4:
      add(revision);
      break;
    default:
      wanted->asked = Asked::kEnabled;
      number(wanted, revision->incarnation);
      break;
  }
}

// A whole list, each name installed: more than a status document has room for.
void crowd(Revision *revision) {
  for (revision->count = 0; revision->count < kMostWanted; revision->count++) {
    Wanted &made = revision->wanted[revision->count];
    made = {};
    made.name = revision->count;
    std::snprintf(made.version, sizeof made.version, "%s", kHighest);
    made.asked = Asked::kEnabled;
    made.settings = Settings::kPublicOnly;
    number(&made, revision->incarnation);
  }
}

void note_revision(const Revision &revision) {
  char text[100];
  int used = std::snprintf(text, sizeof text, "incarnation %d:", revision.incarnation);
  for (int i = 0; i < revision.count && used < static_cast<int>(sizeof text) - 1; i++) {
    const Wanted &each = revision.wanted[i];
    used += std::snprintf(text + used, sizeof text - static_cast<size_t>(used), " %d%c%s#%d/%d", each.name,
                          "+-xo"[static_cast<int>(each.asked)], each.version, each.sequence_number,
                          static_cast<int>(each.settings));
  }
  happened("%s", text);
}

}  // namespace

void cloud_publish() {
  World &w = world();
  w.previous = w.current;
  w.current.incarnation++;
  w.counts.revisions++;
  w.current.page_blob = w.dice.percent(30);
  // What came through once does so rarely again: opening it costs OpenSSL a millisecond.
  w.current.readable = w.dice.percent(view().tenant ? w.readable_percent / 8 : w.readable_percent);
  // A whole list is there for once.
  w.current.count = w.current.count == kMostWanted ? kKept : w.current.count;
  // At times nothing at all is wanted.
  const uint32_t roll = w.dice.below(100);
  if (roll < 4) {
    w.current.count = 0;
  } else if (roll < 6) {
    crowd(&w.current);
  } else {
    for (uint32_t changes = 1 + w.dice.below(4); changes > 0; changes--) {
      change_one(&w.current);
    }
  }
  note_revision(w.current);
}

void cloud_begin() {
  world().current.incarnation = 0;
  cloud_publish();
  world().previous = world().current;
}

std::string hub_command(const std::string &operation, const std::string &appliance) {
  return "sh config-eventhub.sh " + operation + " " +
         support::base64("{\"Logging\": {\"ApplianceID\": \"" + appliance +
                         "\", \"Connection\": {\"PolicySASKey\": \"" + kHubKey + "\", \"PolicyName\": \"" + kHubPolicy +
                         "\", \"EventHubName\": \"" + kHubName + "\", \"ServiceBusNamespace\": \"" + kHubNamespace +
                         "\"}}}");
}

std::string appliance_of(const Wanted &wanted) {
  return "appliance-" + std::to_string(wanted.settings_number);
}

std::string command_of(const Wanted &wanted) {
  switch (wanted.settings) {
    case Settings::kInvalid:
      return "sh other.sh now";
    case Settings::kPartial:
      return "sh config-eventhub.sh op-1 " + support::base64("{\"Logging\": {\"ApplianceID\": \"half\"}}");
    case Settings::kEventHub:
    case Settings::kBoth:
      return hub_command("op-" + std::to_string(wanted.settings_number), appliance_of(wanted));
    default:
      return "";
  }
}

}  // namespace simulate
