// Settings whose decryption the libraries or the certificate store cannot help with.
#include <openssl/bio.h>

#include "credentials/cert_store.h"
#include "extensions/handler_settings.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/watched_memory.h"
#include "tests/unit/plugins/sealed.h"

extern "C" {
BIO *__real_BIO_new(const BIO_METHOD *type);
BIO *__wrap_BIO_new(const BIO_METHOD *type);
int __real_json_object_object_add(json_object *object, const char *key, json_object *value);
int __wrap_json_object_object_add(json_object *object, const char *key, json_object *value);
}

namespace {

bool no_buffer = false;
bool no_place = false;

}  // namespace

BIO *__wrap_BIO_new(const BIO_METHOD *type) {
  return no_buffer ? nullptr : __real_BIO_new(type);
}

int __wrap_json_object_object_add(json_object *object, const char *key, json_object *value) {
  return no_place ? -1 : __real_json_object_object_add(object, key, value);
}

namespace {

class HandlerSettingsEdges : public RecordingTest {
 protected:
  ~HandlerSettingsEdges() override {
    no_buffer = no_place = false;
    kelvane::CertStoreClear();
  }

  // The protected settings of a document that holds this text for them, after it was parsed; null for no document.
  static std::string parsed(const std::string &text, const std::string &thumbprint) {
    const std::string document = R"({"runtimeSettings":[{"handlerSettings":{"protectedSettings":")" + text +
                                 R"(","protectedSettingsCertThumbprint":")" + thumbprint + R"("}}]})";
    const kelvane::JsonSecretOwner value = kelvane::HandlerUtilParseConfig(document.c_str());
    json_object *list = nullptr;
    json_object *settings = nullptr;
    json_object *found = nullptr;
    json_object_object_get_ex(value.get(), "runtimeSettings", &list);
    json_object_object_get_ex(json_object_array_get_idx(list, 0), "handlerSettings", &settings);
    json_object_object_get_ex(settings, "protectedSettings", &found);
    return found != nullptr
               ? json_object_to_json_string_ext(found, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE)
               : "none";
  }
};

TEST_F(HandlerSettingsEdges, WithoutABufferForThePlaintextTheStringStays) {
  sealed::put_into_store();
  const std::string thumbprint = containers::thumbprint(sealed::certificate());
  const std::string text = sealed::seal(R"({"a":1})");
  EXPECT_EQ(parsed(text, thumbprint), R"({"a":1})");
  no_buffer = true;
  EXPECT_EQ(parsed(text, thumbprint), "\"" + text + "\"");
}

TEST_F(HandlerSettingsEdges, ADecryptedValueThatFindsNoPlaceIsWipedAndTheStringStays) {
  sealed::put_into_store();
  const std::string thumbprint = containers::thumbprint(sealed::certificate());
  const std::string text = sealed::seal(R"({"a":"the secret"})");
  watched_memory::wiped.clear();
  no_place = true;
  EXPECT_EQ(parsed(text, thumbprint), "\"" + text + "\"");
  EXPECT_THAT(watched_memory::wiped, testing::Contains("the secret"));
}

// Its thumbprint is empty, and so an empty one finds it.
TEST_F(HandlerSettingsEdges, AKeyWithoutItsCertificateLeavesTheString) {
  sealed::put_into_store(1, false, true);
  const std::string text = sealed::seal(R"({"a":1})");
  EXPECT_EQ(parsed(text, ""), "\"" + text + "\"");
}

}  // namespace
