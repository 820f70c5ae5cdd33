#include "tools/kelvanectl/fields.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <ctime>

#include "platform/records.h"
#include "tools/kelvanectl/failure.h"

namespace kelvanectl {
namespace {

#define FIELD(record, member, kind) \
  { #member, kind, offsetof(record, member), sizeof(record::member) }

std::vector<Table> make_tables() {
  return {
      {NCFG_TABLE_SYSTEM_SETTINGS,
       "system settings",
       false,
       0,
       sizeof(ncfg_system_settings),
       {FIELD(ncfg_system_settings, host_name, Kind::kText), FIELD(ncfg_system_settings, time_zone, Kind::kText),
        FIELD(ncfg_system_settings, time_zone_index, Kind::kSigned),
        FIELD(ncfg_system_settings, daylight_saving, Kind::kSigned)}},
      {NCFG_TABLE_ACCESS_PROFILES,
       "access profiles",
       true,
       0,
       sizeof(ncfg_access_profile),
       {FIELD(ncfg_access_profile, name, Kind::kText), FIELD(ncfg_access_profile, rights, Kind::kUnsigned)}},
      {NCFG_TABLE_WIDGETS, "dashboard widgets", true, 0, sizeof(ncfg_widget), {FIELD(ncfg_widget, name, Kind::kText)}},
      {NCFG_TABLE_ACCOUNTS,
       "administrator accounts",
       true,
       0,
       sizeof(ncfg_account),
       {FIELD(ncfg_account, name, Kind::kText), FIELD(ncfg_account, password, Kind::kPassword),
        FIELD(ncfg_account, access_profile, Kind::kUnsigned), FIELD(ncfg_account, field_1088, Kind::kUnsigned),
        FIELD(ncfg_account, field_1096, Kind::kUnsigned), FIELD(ncfg_account, hidden, Kind::kUnsigned),
        FIELD(ncfg_account, field_2460, Kind::kUnsigned)}},
      {NCFG_TABLE_ACCOUNT_DASHBOARD,
       "dashboard entries of an account",
       false,
       NCFG_TABLE_ACCOUNTS,
       sizeof(ncfg_dashboard_entry),
       {FIELD(ncfg_dashboard_entry, widget, Kind::kUnsigned), FIELD(ncfg_dashboard_entry, column, Kind::kUnsigned),
        FIELD(ncfg_dashboard_entry, open, Kind::kUnsigned), FIELD(ncfg_dashboard_entry, height, Kind::kUnsigned)}},
      {NCFG_TABLE_INTERFACES,
       "network interfaces",
       true,
       0,
       sizeof(ncfg_interface),
       {FIELD(ncfg_interface, name, Kind::kText), FIELD(ncfg_interface, manual, Kind::kUnsigned),
        FIELD(ncfg_interface, addressing_mode, Kind::kUnsigned), FIELD(ncfg_interface, address, Kind::kAddress),
        FIELD(ncfg_interface, netmask, Kind::kAddress), FIELD(ncfg_interface, default_server, Kind::kUnsigned),
        FIELD(ncfg_interface, AzureEndpoint, Kind::kAddress)}},
      {NCFG_TABLE_EVENT_HUB,
       "event hub",
       false,
       0,
       sizeof(ncfg_event_hub),
       {FIELD(ncfg_event_hub, enabled, Kind::kUnsigned), FIELD(ncfg_event_hub, appliance_id, Kind::kText),
        FIELD(ncfg_event_hub, policy_sas_key, Kind::kSecret), FIELD(ncfg_event_hub, policy_name, Kind::kText),
        FIELD(ncfg_event_hub, event_hub_name, Kind::kText), FIELD(ncfg_event_hub, service_bus_namespace, Kind::kText)}},
      {NCFG_TABLE_GUI_DASHBOARD,
       "GUI dashboard pages of an account",
       true,
       NCFG_TABLE_ACCOUNTS,
       sizeof(ncfg_gui_dashboard),
       {FIELD(ncfg_gui_dashboard, name, Kind::kText), FIELD(ncfg_gui_dashboard, columns, Kind::kUnsigned)}},
  };
}

#undef FIELD

const Table *find_table(uint32_t number) {
  const auto found =
      std::find_if(tables().begin(), tables().end(), [number](const Table &each) { return each.number == number; });
  return found != tables().end() ? &*found : nullptr;
}

// Integers stand in the machine's byte order; all machines that this runs on put the lowest byte first.
uint64_t unsigned_at(const Field &field, const void *record) {
  uint64_t value = 0;
  std::memcpy(&value, static_cast<const char *>(record) + field.offset, field.size);
  return value;
}

void put_text(const Field &field, void *record, const std::string &value) {
  if (value.size() >= field.size) {
    throw Failure("the value of " + std::string(field.name) + " is too long: at most " +
                  std::to_string(field.size - 1) + " bytes");
  }
  char *text = static_cast<char *>(record) + field.offset;
  std::memset(text, 0, field.size);
  std::memcpy(text, value.data(), value.size());
}

template <typename Number>
Number number_from_text(const Field &field, const std::string &text) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw Failure("\"" + text + "\" is no value for " + field.name);
  }
  return value;
}

void put_unsigned(const Field &field, void *record, const std::string &text) {
  const auto value = number_from_text<uint64_t>(field, text);
  if (field.size < sizeof value && value >> (8 * field.size) != 0) {
    throw Failure("\"" + text + "\" is too large for " + field.name);
  }
  std::memcpy(static_cast<char *>(record) + field.offset, &value, field.size);
}

void put_signed(const Field &field, void *record, const std::string &text) {
  const auto value = number_from_text<int32_t>(field, text);
  std::memcpy(static_cast<char *>(record) + field.offset, &value, field.size);
}

}  // namespace

std::string text_at(const Field &field, const void *record) {
  const char *text = static_cast<const char *>(record) + field.offset;
  return std::string(text, strnlen(text, field.size));
}

const Field &field_of(const Table &table, const std::string &name) {
  const auto field =
      std::find_if(table.fields.begin(), table.fields.end(), [&name](const Field &each) { return each.name == name; });
  if (field == table.fields.end()) {
    throw Failure("table " + std::to_string(table.number) + " has no field " + name);
  }
  return *field;
}

const std::vector<Table> &tables() {
  static const std::vector<Table> all = make_tables();
  return all;
}

const Table &top_table(uint32_t number) {
  const Table *table = find_table(number);
  if (table == nullptr) {
    throw Failure("there is no table " + std::to_string(number));
  }
  if (table->parent != 0) {
    throw Failure("table " + std::to_string(number) + " belongs to accounts: see 'account show NAME'");
  }
  return *table;
}

const Table &child_table(uint32_t number) {
  return *find_table(number);
}

std::string address_text(uint32_t address) {
  if (address == 0) {
    return "none";
  }
  return std::to_string(address & 0xFF) + "." + std::to_string(address >> 8 & 0xFF) + "." +
         std::to_string(address >> 16 & 0xFF) + "." + std::to_string(address >> 24);
}

uint32_t address_from_text(const std::string &text) {
  std::array<uint8_t, 4> octets = {};
  if (inet_pton(AF_INET, text.c_str(), octets.data()) != 1) {
    throw Failure("\"" + text + "\" is no IPv4 address");
  }
  return uint32_t{octets[0]} | uint32_t{octets[1]} << 8 | uint32_t{octets[2]} << 16 | uint32_t{octets[3]} << 24;
}

std::string time_text(int64_t seconds) {
  const time_t time = static_cast<time_t>(seconds);
  struct tm parts = {};
  char text[32] = "";
  gmtime_r(&time, &parts);
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

std::string password_state(const std::string &stored) {
  static const std::vector<std::pair<std::string, std::string>> kSchemes = {
      {"$y$", "yescrypt"},    {"$gy$", "gost-yescrypt"}, {"$7$", "scrypt"},  {"$2", "bcrypt"},
      {"$6$", "sha512crypt"}, {"$5$", "sha256crypt"},    {"$1$", "md5crypt"}};
  if (stored.empty()) {
    return "not set";
  }
  if (stored[0] == '*' || stored[0] == '!') {
    return "not set (locked)";
  }
  for (const auto &[prefix, scheme] : kSchemes) {
    if (stored.rfind(prefix, 0) == 0) {
      return "set (" + scheme + ")";
    }
  }
  return "set (unknown scheme)";
}

Json value_of(const Field &field, const void *record) {
  switch (field.kind) {
    case Kind::kText:
      return text_at(field, record);
    case Kind::kUnsigned:
      return unsigned_at(field, record);
    case Kind::kSigned:
      return static_cast<int32_t>(unsigned_at(field, record));
    case Kind::kAddress:
      return address_text(static_cast<uint32_t>(unsigned_at(field, record)));
    case Kind::kPassword:
      return password_state(text_at(field, record));
    case Kind::kSecret:
      return text_at(field, record).empty() ? "not set" : "set";
  }
  return nullptr;
}

Json record_as_json(const Table &table, const void *record) {
  Json json = Json::object();
  for (const Field &field : table.fields) {
    json[field.name] = value_of(field, record);
  }
  return json;
}

void set_value(const Table &table, void *record, const std::string &field_name, const std::string &value) {
  const Field &field = field_of(table, field_name);
  if (field.kind == Kind::kPassword || field.kind == Kind::kSecret || (table.keyed && field.offset == 0)) {
    throw Failure("the field " + field_name + " is not set this way");
  }
  switch (field.kind) {
    case Kind::kText:
      return put_text(field, record, value);
    case Kind::kSigned:
      return put_signed(field, record, value);
    case Kind::kAddress:
      return put_unsigned(field, record, std::to_string(value == "none" ? 0 : address_from_text(value)));
    default:
      return put_unsigned(field, record, value);
  }
}

}  // namespace kelvanectl
