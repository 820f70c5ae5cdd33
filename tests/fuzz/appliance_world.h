// The configuration database of the fuzz target of its records: filled from an input, and compared with what start-up
// made of it.
#ifndef KELVANE_TESTS_FUZZ_APPLIANCE_WORLD_H
#define KELVANE_TESTS_FUZZ_APPLIANCE_WORLD_H

#include <string>

#include "platform/platform.h"

namespace fuzz {

struct Appliance {
  ncfg_interface port1;
  ncfg_interface port2;
  ncfg_system_settings settings;
  ncfg_account admin;
};

// Every byte of the records is the input's, but for the names, as far as it goes; zero behind it. The recording
// platform has these records and nothing else.
Appliance appliance_of(const std::string &input);

// Ends the program unless the records are those with these changes: both ports have a lease, unless one is set by hand,
// and the account's password is another.
void require_started(Appliance before);

}  // namespace fuzz

#endif
