#include "tools/sandbox/records.h"

#include <arpa/inet.h>

#include <cstring>
#include <stdexcept>

#include "platform/records.h"
#include "tools/sandbox/text_forms.h"

namespace sandbox {
namespace {

#define FIELD(record, member, kind)                                            \
  RecordField {                                                                \
#member, FieldKind::kind, offsetof(record, member), sizeof(record::member) \
  }

const std::vector<RecordTable> &tables() {
  static const std::vector<RecordTable> kTables = {
      {NCFG_TABLE_SYSTEM_SETTINGS,
       sizeof(ncfg_system_settings),
       true,
       0,
       {FIELD(ncfg_system_settings, host_name, kText), FIELD(ncfg_system_settings, time_zone, kText),
        FIELD(ncfg_system_settings, time_zone_index, kSigned), FIELD(ncfg_system_settings, daylight_saving, kSigned)}},
      {NCFG_TABLE_ACCESS_PROFILES,
       sizeof(ncfg_access_profile),
       false,
       0,
       {FIELD(ncfg_access_profile, name, kText), FIELD(ncfg_access_profile, rights, kNumber)}},
      {NCFG_TABLE_WIDGETS, sizeof(ncfg_widget), false, 0, {FIELD(ncfg_widget, name, kText)}},
      {NCFG_TABLE_ACCOUNTS,
       sizeof(ncfg_account),
       false,
       0,
       {FIELD(ncfg_account, name, kText), FIELD(ncfg_account, password, kText),
        FIELD(ncfg_account, after_password, kNumber), FIELD(ncfg_account, access_profile, kNumber),
        FIELD(ncfg_account, field_1088, kNumber), FIELD(ncfg_account, field_1096, kNumber),
        FIELD(ncfg_account, hidden, kNumber), FIELD(ncfg_account, reserved_2449, kNumber),
        FIELD(ncfg_account, field_2460, kNumber)}},
      {NCFG_TABLE_ACCOUNT_DASHBOARD,
       sizeof(ncfg_dashboard_entry),
       false,
       NCFG_TABLE_ACCOUNTS,
       {FIELD(ncfg_dashboard_entry, widget, kNumber), FIELD(ncfg_dashboard_entry, column, kNumber),
        FIELD(ncfg_dashboard_entry, open, kNumber), FIELD(ncfg_dashboard_entry, height, kNumber)}},
      {NCFG_TABLE_INTERFACES,
       sizeof(ncfg_interface),
       false,
       0,
       {FIELD(ncfg_interface, name, kText), FIELD(ncfg_interface, manual, kNumber),
        FIELD(ncfg_interface, addressing_mode, kNumber), FIELD(ncfg_interface, address, kAddress),
        FIELD(ncfg_interface, netmask, kAddress), FIELD(ncfg_interface, default_server, kNumber),
        FIELD(ncfg_interface, AzureEndpoint, kAddress)}},
      {NCFG_TABLE_EVENT_HUB,
       sizeof(ncfg_event_hub),
       true,
       0,
       {FIELD(ncfg_event_hub, enabled, kNumber), FIELD(ncfg_event_hub, appliance_id, kText),
        FIELD(ncfg_event_hub, policy_sas_key, kText), FIELD(ncfg_event_hub, policy_name, kText),
        FIELD(ncfg_event_hub, event_hub_name, kText), FIELD(ncfg_event_hub, service_bus_namespace, kText)}},
      {NCFG_TABLE_GUI_DASHBOARD,
       sizeof(ncfg_gui_dashboard),
       false,
       NCFG_TABLE_ACCOUNTS,
       {FIELD(ncfg_gui_dashboard, name, kText), FIELD(ncfg_gui_dashboard, columns, kNumber)}},
  };
  return kTables;
}

#undef FIELD

const RecordField &field_of(const RecordTable &table, const std::string &name) {
  for (const RecordField &field : table.fields) {
    if (name == field.name) {
      return field;
    }
  }
  throw std::runtime_error("table " + std::to_string(table.number) + " has no field '" + name + "'");
}

void set_text(const RecordField &field, char *place, const std::string &text) {
  if (text.size() >= field.size) {
    throw std::runtime_error(std::string("the text for '") + field.name + "' is too long");
  }
  std::memset(place, 0, field.size);
  std::memcpy(place, text.data(), text.size());
}

void set_number(const RecordField &field, char *place, int64_t value) {
  std::memcpy(place, &value, field.size);  // little-endian: the low bytes come first
}

uint64_t unsigned_value(const RecordField &field, const char *place) {
  uint64_t value = 0;
  std::memcpy(&value, place, field.size);
  return value;
}

std::string address_text(uint64_t value) {
  const in_addr address = {static_cast<in_addr_t>(value)};
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address, text, sizeof text);
  return text;
}

nlohmann::json value_of(const RecordField &field, const char *place) {
  switch (field.kind) {
    case FieldKind::kText:
      return std::string(place, strnlen(place, field.size));
    case FieldKind::kAddress:
      return address_text(unsigned_value(field, place));
    case FieldKind::kSigned:
      return static_cast<int32_t>(unsigned_value(field, place));
    case FieldKind::kNumber:
      break;
  }
  return unsigned_value(field, place);
}

std::string named(const char *name) {
  return quoted(std::string(name, strnlen(name, NCFG_NAME_SIZE)).c_str());
}

std::string summary(const ncfg_dashboard_entry &entry) {
  return "widget " + std::to_string(entry.widget) + " column " + std::to_string(entry.column) + " open " +
         std::to_string(entry.open) + " height " + std::to_string(entry.height);
}

std::string summary(const ncfg_interface &port) {
  return named(port.name) + " addressing " + std::to_string(port.addressing_mode) + " server " +
         std::to_string(port.default_server) + " endpoint " + address_text(port.AzureEndpoint);
}

std::string summary(const ncfg_event_hub &hub) {
  return "enabled " + std::to_string(hub.enabled) + " appliance " + quoted(hub.appliance_id) + " policy " +
         quoted(hub.policy_name) + " hub " + quoted(hub.event_hub_name) + " namespace " +
         quoted(hub.service_bus_namespace);
}

template <typename Record>
Record as(const void *record) {
  Record copy;
  std::memcpy(&copy, record, sizeof copy);
  return copy;
}

}  // namespace

const RecordTable *record_table(uint32_t number) {
  for (const RecordTable &table : tables()) {
    if (table.number == number) {
      return &table;
    }
  }
  return nullptr;
}

void record_set(const RecordTable &table, void *record, const nlohmann::json &fields) {
  for (const auto &[name, value] : fields.items()) {
    const RecordField &field = field_of(table, name);
    char *place = static_cast<char *>(record) + field.offset;
    if (field.kind == FieldKind::kText) {
      set_text(field, place, value.get<std::string>());
    } else if (field.kind == FieldKind::kAddress && value.is_string()) {
      set_number(field, place, parse_address(value.get<std::string>()));
    } else {
      set_number(field, place, value.get<int64_t>());
    }
  }
}

nlohmann::ordered_json record_fields(const RecordTable &table, const void *record) {
  nlohmann::ordered_json out = nlohmann::ordered_json::object();
  for (const RecordField &field : table.fields) {
    out[field.name] = value_of(field, static_cast<const char *>(record) + field.offset);
  }
  return out;
}

std::string record_rest(const RecordTable &table, const void *record) {
  std::string bytes(static_cast<const char *>(record), table.size);
  for (const RecordField &field : table.fields) {
    const bool is_text = field.kind == FieldKind::kText;
    const size_t used = is_text ? strnlen(bytes.data() + field.offset, field.size) : field.size;
    std::memset(bytes.data() + field.offset, 0, used);
  }
  std::string out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] != '\0') {
      out += (out.empty() ? "" : " ") + std::to_string(i) + "=" + std::to_string(static_cast<unsigned char>(bytes[i]));
    }
  }
  return out;
}

std::string record_summary(uint32_t table, const void *record) {
  switch (table) {
    case NCFG_TABLE_SYSTEM_SETTINGS:
      return "host name " + named(as<ncfg_system_settings>(record).host_name);
    case NCFG_TABLE_ACCOUNT_DASHBOARD:
      return summary(as<ncfg_dashboard_entry>(record));
    case NCFG_TABLE_INTERFACES:
      return summary(as<ncfg_interface>(record));
    case NCFG_TABLE_EVENT_HUB:
      return summary(as<ncfg_event_hub>(record));
    case NCFG_TABLE_ACCOUNTS:
      return named(as<ncfg_account>(record).name) + " profile " +
             std::to_string(as<ncfg_account>(record).access_profile);
    default:
      break;
  }
  return "record";
}

uint32_t parse_address(const std::string &text) {
  in_addr address = {};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
    throw std::runtime_error("'" + text + "' is no IPv4 address");
  }
  return address.s_addr;
}

}  // namespace sandbox
