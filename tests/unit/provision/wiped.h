// Keeps what was overwritten as a secret, for the tests of this folder.
#ifndef KELVANE_TESTS_UNIT_PROVISION_WIPED_H
#define KELVANE_TESTS_UNIT_PROVISION_WIPED_H

#include <functional>
#include <string>
#include <vector>

#include <mxml.h>

// Contents of the memory that was wiped since the program started, in order.
std::vector<std::string> &wiped();
// Runs in front of every mxmlDelete.
std::function<void(mxml_node_t *)> &on_xml_delete();

#endif
