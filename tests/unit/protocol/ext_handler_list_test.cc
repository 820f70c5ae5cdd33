#include "protocol/ext_handler_list.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

using kelvane::ExtHandler;
using kelvane::ExtHandlerList;

namespace {

ExtHandler full_record() {
  ExtHandler handler = {};
  for (char **text :
       {&handler.name, &handler.upgrade_guid, &handler.state, &handler.settings_name, &handler.public_settings,
        &handler.protected_settings, &handler.protected_settings_thumbprint, &handler.runtime_settings,
        &handler.uris[0], &handler.uris[1], &handler.uris[2], &handler.uris[3], &handler.uris[4]}) {
    *text = strdup("text");
  }
  handler.auto_upgrade = 1;
  handler.uri_count = 5;
  handler.sequence_number = 7;
  handler.has_runtime_settings = 1;
  std::strcpy(handler.version, "1.0");
  return handler;
}

TEST(ExtHandlerFree, FreesEveryTextAndResetsFlagAndCount) {
  ExtHandler handler = full_record();
  kelvane::ExtHandlerFree(&handler);
  for (const char *text :
       {handler.name, handler.upgrade_guid, handler.state, handler.settings_name, handler.public_settings,
        handler.protected_settings, handler.protected_settings_thumbprint, handler.runtime_settings, handler.uris[0],
        handler.uris[1], handler.uris[2], handler.uris[3], handler.uris[4]}) {
    EXPECT_EQ(text, nullptr);
  }
  EXPECT_EQ(handler.auto_upgrade, 0u);
  EXPECT_EQ(handler.uri_count, 0);
  EXPECT_EQ(handler.sequence_number, 7);
  EXPECT_EQ(handler.has_runtime_settings, 1u);
  EXPECT_STREQ(handler.version, "1.0");
  kelvane::ExtHandlerFree(&handler);
}

TEST(ExtHandlerListFree, FreesEveryRecordAndTheArray) {
  ExtHandlerList list = {static_cast<ExtHandler *>(calloc(2, sizeof(ExtHandler))), 2};
  list.handlers[0] = full_record();
  list.handlers[1] = full_record();
  kelvane::ExtHandlerListFree(&list);
  EXPECT_EQ(list.handlers, nullptr);
  EXPECT_EQ(list.count, 0);
}

TEST(ExtHandlerListFree, DoesNothingWithoutAnArray) {
  ExtHandlerList list = {nullptr, 3};
  kelvane::ExtHandlerListFree(&list);
  EXPECT_EQ(list.count, 3);
}

TEST(ExtHandlerRecord, HasItsFieldsInOrder) {
  EXPECT_EQ(offsetof(ExtHandler, name), 0u);
  EXPECT_EQ(offsetof(ExtHandler, version), 8u);
  EXPECT_EQ(sizeof(ExtHandler::version), 64u);
  EXPECT_LT(offsetof(ExtHandler, auto_upgrade), offsetof(ExtHandler, upgrade_guid));
  EXPECT_LT(offsetof(ExtHandler, upgrade_guid), offsetof(ExtHandler, state));
  EXPECT_LT(offsetof(ExtHandler, state), offsetof(ExtHandler, settings_name));
  EXPECT_LT(offsetof(ExtHandler, settings_name), offsetof(ExtHandler, sequence_number));
  EXPECT_LT(offsetof(ExtHandler, runtime_settings), offsetof(ExtHandler, has_runtime_settings));
  EXPECT_EQ(sizeof(ExtHandler::uris) / sizeof(char *), 5u);
}

}  // namespace
