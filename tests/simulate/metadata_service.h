// The metadata service: its fixed resources, and the documents that it answers with.
#ifndef KELVANE_TESTS_SIMULATE_METADATA_SERVICE_H
#define KELVANE_TESTS_SIMULATE_METADATA_SERVICE_H

#include <string>
#include <string_view>

#include "tests/simulate/cloud.h"

namespace simulate {

// The resource that an address names; null for any other address.
const Route *metadata_route(std::string_view url);

// The list of handlers of a revision, and its certificate; the list that names one; the document that an error sends in
// place of any.
const std::string &handlers_document(const Revision &revision);
const std::string &certificate_data_document(const Revision &revision);
std::string_view metadata_certificate_list();
std::string_view metadata_error_document();

// What an extension's settings are called there, by the row of its name.
std::string settings_name_of(int row);

}  // namespace simulate

#endif
