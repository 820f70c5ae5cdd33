// The commands that show and change the configuration database, through platform.h alone. Each returns what is to be
// shown, or changes something and makes it durable. Fails by Failure.
#ifndef KELVANE_TOOLS_KELVANECTL_CONFIGURATION_H
#define KELVANE_TOOLS_KELVANECTL_CONFIGURATION_H

#include <string>

#include "tools/kelvanectl/fields.h"

namespace kelvanectl {

// The tables: number, title, number of records.
Json table_list();
// The records of a top-level table, or the one with this key. Each has its key number in front.
Json table_show(uint32_t number, const std::string &key);
// key is not looked at for tables of a single record.
void table_set(uint32_t number, const std::string &key, const std::string &field, const std::string &value);

Json account_list();
Json account_show(const std::string &name);
Json account_keys(const std::string &name);

// The wire server's address that port1 learned, "none" without.
Json endpoint_show();
// "none" clears it.
void endpoint_set(const std::string &address);
Json host_name();
// Where the appliance sends its log, as an extension set it. The key itself only when secrets is true, else whether it
// is set.
Json event_hub(bool secrets);
Json event_list(int64_t since);

}  // namespace kelvanectl

#endif
