/*
 * The records that the agent and the appliance platform exchange, with the offsets that both sides rely on.
 *
 * Plain C structures, copied whole; nothing in them is owned. A platform stores them as they are: the asserted offsets
 * and sizes are part of the contract. Fields that the agent never looks at are reserved space and stay zero in records
 * that the agent makes, unless the platform's default record says otherwise.
 */
#ifndef KELVANE_PLATFORM_RECORDS_H
#define KELVANE_PLATFORM_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define NCFG_ASSERT(condition, text) static_assert(condition, text)
#else
#define NCFG_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* Table numbers of the configuration database. */
enum ncfg_table {
  NCFG_TABLE_SYSTEM_SETTINGS = 100,   /* one record: struct ncfg_system_settings */
  NCFG_TABLE_ACCESS_PROFILES = 280,   /* struct ncfg_access_profile, key: name */
  NCFG_TABLE_WIDGETS = 330,           /* struct ncfg_widget, key: name */
  NCFG_TABLE_ACCOUNTS = 340,          /* struct ncfg_account, key: name */
  NCFG_TABLE_ACCOUNT_DASHBOARD = 354, /* child of an account: struct ncfg_dashboard_entry, in order, no key */
  NCFG_TABLE_INTERFACES = 440,        /* struct ncfg_interface, key: name */
  NCFG_TABLE_EVENT_HUB = 640,         /* one record: struct ncfg_event_hub */
  NCFG_TABLE_GUI_DASHBOARD = 14050,   /* child of an account: struct ncfg_gui_dashboard, key: name */
  NCFG_TABLE_HIGHEST = 14050
};

/* Field sizes, in bytes with the terminator. */
enum {
  NCFG_NAME_SIZE = 64,
  NCFG_PASSWORD_SIZE = 129,
  NCFG_EVENT_HUB_TEXT_SIZE = 129,
  NCFG_HOST_NAME_LENGTH = 64, /* without terminator: what sethostname is given */
};

/* The debug record that the agent shares with the appliance's tools. Other processes write it at any time. */
struct ncfg_debug_zone {
  int32_t agent_debug_level; /* a gated log line prints only when this is strictly greater than its threshold */
  uint32_t test_command;     /* written by a tool before it sends SIGUSR2; the agent takes it and sets it to 0 */
  uint8_t flags;             /* NCFG_DEBUG_FLAG_* */
  char os_version[64];
  char host_name[NCFG_HOST_NAME_LENGTH + 1]; /* the last byte is always 0 */
};

/* Set in ncfg_debug_zone.flags by the agent once it has served a test command. */
#define NCFG_DEBUG_FLAG_SERVED 0x20u

/* Table 100. */
struct ncfg_system_settings {
  char host_name[NCFG_NAME_SIZE];
  char time_zone[64];      /* the value for the TZ environment variable */
  int32_t time_zone_index; /* what get_zoneinfo takes */
  int32_t daylight_saving; /* non-zero: the platform manages daylight saving */
};

/* Table 280. */
struct ncfg_access_profile {
  char name[NCFG_NAME_SIZE];
  uint32_t rights; /* the platform's own */
};

/* Table 330. */
struct ncfg_widget {
  char name[NCFG_NAME_SIZE];
};

/* Table 340. The names say what a field is for where the agent knows; the others are named after their offset. */
struct ncfg_account {
  char name[NCFG_NAME_SIZE];         /* 0 */
  char password[NCFG_PASSWORD_SIZE]; /* 64: the stored form, never the clear text */
  uint8_t after_password;            /* 193 */
  uint8_t reserved_194[886];         /* 194 */
  uint32_t access_profile;           /* 1080: key number in table 280, 0 for none */
  uint8_t reserved_1084[4];          /* 1084 */
  uint64_t field_1088;               /* 1088 */
  uint32_t field_1096;               /* 1096 */
  uint8_t reserved_1100[1348];       /* 1100 */
  uint8_t hidden;                    /* 2448: non-zero: nobody but the platform changes or removes the account */
  uint8_t reserved_2449;             /* 2449: set together with hidden, as one 16-bit field */
  uint8_t reserved_2450[10];         /* 2450 */
  uint16_t field_2460;               /* 2460 */
  uint8_t reserved_2462[2];          /* 2462 */
};

/* Table 354: one widget on an account's dashboard. */
struct ncfg_dashboard_entry {
  uint32_t widget; /* key number in table 330, 0 for none */
  uint32_t column;
  uint32_t open;   /* 1: shown unfolded */
  uint32_t height; /* of the widget, in pixels */
  uint8_t reserved[44];
};

/* Table 14050: one page of an account's GUI dashboard. */
struct ncfg_gui_dashboard {
  char name[NCFG_NAME_SIZE];
  uint32_t columns;
};

/* Table 440. */
struct ncfg_interface {
  char name[NCFG_NAME_SIZE];
  uint8_t manual; /* non-zero: an operator configured it by hand; first boot leaves it alone */
  uint8_t reserved[3];
  uint32_t addressing_mode; /* NCFG_ADDRESSING_* */
  uint32_t address;         /* IPv4, lowest byte is the first octet; 0 for none */
  uint32_t netmask;
  uint32_t default_server; /* the field just before AzureEndpoint; first boot sets it to 0 on every port but port1 */
  uint32_t AzureEndpoint;  /* the wire server's IPv4 address as the lease named it, lowest byte first; 0: not known */
};

enum { NCFG_ADDRESSING_STATIC = 0, NCFG_ADDRESSING_DHCP = 1 };

/* Table 640. */
struct ncfg_event_hub {
  uint32_t enabled;                                     /* 0 */
  char appliance_id[NCFG_EVENT_HUB_TEXT_SIZE];          /* 4 */
  char policy_sas_key[NCFG_EVENT_HUB_TEXT_SIZE];        /* 133 */
  char policy_name[NCFG_EVENT_HUB_TEXT_SIZE];           /* 262 */
  char event_hub_name[NCFG_EVENT_HUB_TEXT_SIZE];        /* 391 */
  char service_bus_namespace[NCFG_EVENT_HUB_TEXT_SIZE]; /* 520 */
  uint8_t padding[3];                                   /* 649 */
};

NCFG_ASSERT(offsetof(struct ncfg_account, name) == 0, "account name at 0");
NCFG_ASSERT(offsetof(struct ncfg_account, password) == 64, "account password at 64");
NCFG_ASSERT(offsetof(struct ncfg_account, after_password) == 193, "byte after the password at 193");
NCFG_ASSERT(offsetof(struct ncfg_account, access_profile) == 1080, "access profile at 1080");
NCFG_ASSERT(offsetof(struct ncfg_account, field_1088) == 1088, "64-bit field at 1088");
NCFG_ASSERT(offsetof(struct ncfg_account, field_1096) == 1096, "32-bit field at 1096");
NCFG_ASSERT(offsetof(struct ncfg_account, hidden) == 2448, "hidden flag at 2448");
NCFG_ASSERT(offsetof(struct ncfg_account, field_2460) == 2460, "16-bit field at 2460");
NCFG_ASSERT(sizeof(struct ncfg_account) == 2464, "account record size");

NCFG_ASSERT(offsetof(struct ncfg_dashboard_entry, widget) == 0, "widget at 0");
NCFG_ASSERT(offsetof(struct ncfg_dashboard_entry, column) == 4, "column at 4");
NCFG_ASSERT(offsetof(struct ncfg_dashboard_entry, open) == 8, "open at 8");
NCFG_ASSERT(offsetof(struct ncfg_dashboard_entry, height) == 12, "height at 12");
NCFG_ASSERT(sizeof(struct ncfg_dashboard_entry) == 60, "dashboard entry size");

NCFG_ASSERT(offsetof(struct ncfg_interface, addressing_mode) == offsetof(struct ncfg_interface, manual) + 4,
            "the flag byte precedes the addressing mode");
NCFG_ASSERT(offsetof(struct ncfg_interface, AzureEndpoint) == offsetof(struct ncfg_interface, default_server) + 4,
            "the default server precedes the endpoint");

NCFG_ASSERT(offsetof(struct ncfg_event_hub, enabled) == 0, "enabled at 0");
NCFG_ASSERT(offsetof(struct ncfg_event_hub, appliance_id) == 4, "appliance identifier at 4");
NCFG_ASSERT(offsetof(struct ncfg_event_hub, policy_sas_key) == 133, "policy SAS key at 133");
NCFG_ASSERT(offsetof(struct ncfg_event_hub, policy_name) == 262, "policy name at 262");
NCFG_ASSERT(offsetof(struct ncfg_event_hub, event_hub_name) == 391, "event hub name at 391");
NCFG_ASSERT(offsetof(struct ncfg_event_hub, service_bus_namespace) == 520, "service bus namespace at 520");
NCFG_ASSERT(sizeof(struct ncfg_event_hub) == 652, "event hub record size");

#endif
