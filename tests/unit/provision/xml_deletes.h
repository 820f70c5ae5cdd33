// Lets the tests of this folder look at an XML tree before it is deleted.
#ifndef KELVANE_TESTS_UNIT_PROVISION_XML_DELETES_H
#define KELVANE_TESTS_UNIT_PROVISION_XML_DELETES_H

#include <functional>

#include <mxml.h>

// Runs in front of every mxmlDelete.
std::function<void(mxml_node_t *)> &on_xml_delete();

#endif
