#include "extensions/handler_settings.h"

#include <openssl/pkcs7.h>
#include <unistd.h>

#include <algorithm>

#include "credentials/cert_store.h"
#include "credentials/transport_cert.h"
#include "tests/support/base64.h"
#include "tests/support/files.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/watched_memory.h"
#include "tests/unit/plugins/sealed.h"

extern "C" {
void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size);
}

namespace {

int refuse_calloc = 0;

}  // namespace

void *__wrap_calloc(size_t count, size_t size) {
  const bool refused = refuse_calloc > 0 && --refuse_calloc == 0;
  return refused ? nullptr : __real_calloc(count, size);
}

namespace {

using kelvane::HandlerUtilGetSettings;
using kelvane::HandlerUtilParseConfig;
using kelvane::HandlerUtilParseProtectedSettings;
using kelvane::JsonSecretOwner;
using sealed::seal;
using watched_memory::wiped;

const char kSecret[] = R"({"commandToExecute":"the secret command","list":["first secret",{"a":"second secret"}]})";

std::string plain(const JsonSecretOwner &value) {
  return value.present()
             ? json_object_to_json_string_ext(value.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE)
             : "none";
}

std::string thumbprint(size_t number = 1) {
  return containers::thumbprint(sealed::certificate(number));
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// A document with these texts in it.
std::string document(const std::string &protected_value, const std::string &thumbprint_value,
                     const std::string &public_value = R"({"a":1})") {
  return R"({"runtimeSettings":[{"handlerSettings":{"protectedSettings":)" + protected_value +
         R"(,"protectedSettingsCertThumbprint":)" + thumbprint_value + R"(,"publicSettings":)" + public_value + "}}]}";
}
std::string quoted(const std::string &text) {
  return "\"" + text + "\"";
}

class HandlerSettings : public RecordingTest {
 protected:
  HandlerSettings() {
    sealed::put_into_store();
    recording::clear_trace();
    wiped.clear();
  }
  ~HandlerSettings() override {
    refuse_calloc = 0;
    kelvane::CertStoreClear();
    kelvane::TransportCertCleanup();
  }

  static std::string parsed(const std::string &text) { return plain(HandlerUtilParseConfig(text.c_str())); }
  static std::string opened(const std::string &text, const char *thumbprint_text) {
    return plain(HandlerUtilParseProtectedSettings(text.c_str(), thumbprint_text));
  }
  static X509 *make_transport_certificate() {
    EXPECT_EQ(kelvane::TransportCertMake(), 0);
    kelvane::TransportCert transport = {};
    kelvane::TransportCertGet(&transport);
    return transport.certificate;
  }
};

// ---- HandlerUtilParseProtectedSettings ----

TEST_F(HandlerSettings, AMessageToAStoredCertificateIsDecrypted) {
  EXPECT_EQ(opened(seal(kSecret), thumbprint().c_str()), kSecret);
}

TEST_F(HandlerSettings, MessagesOfTheCommandLineToolAreDecrypted) {
  if (!support::have_openssl()) {
    GTEST_SKIP() << "SKIP: no openssl command";
  }
  const std::string pem = containers::pem(sealed::certificate());
  EXPECT_EQ(opened(sealed::seal_by_tool(kSecret, pem, "smime"), thumbprint().c_str()), kSecret);
  EXPECT_EQ(opened(sealed::seal_by_tool(kSecret, pem, "cms"), thumbprint().c_str()), kSecret);
}

TEST_F(HandlerSettings, LineBreaksInTheTextAreSkipped) {
  std::string text = seal(kSecret);
  for (size_t at = 64; at < text.size(); at += 66) {
    text.insert(at, "\r\n");
  }
  EXPECT_EQ(opened(text, thumbprint().c_str()), kSecret);
}

TEST_F(HandlerSettings, ATextOf256KilobytesIsTheLongest) {
  std::string text = seal(kSecret);
  text.append(262144 - text.size(), '\n');
  EXPECT_EQ(opened(text, thumbprint().c_str()), kSecret);
  EXPECT_EQ(opened(text + "\n", thumbprint().c_str()), opened("", thumbprint().c_str()));
}

TEST_F(HandlerSettings, TheDecoderGetsABufferAsLongAsTheText) {
  const std::string text = seal(kSecret);
  opened(text, thumbprint().c_str());
  EXPECT_EQ(recording::calls(), Lines{"miglib_b64_pton(\"" + text + "\", " + std::to_string(text.size()) + ")"});
}

TEST_F(HandlerSettings, ANullTextGivesNothing) {
  EXPECT_FALSE(HandlerUtilParseProtectedSettings(nullptr, thumbprint().c_str()).present());
  EXPECT_FALSE(HandlerUtilParseProtectedSettings(nullptr, nullptr).present());
}

TEST_F(HandlerSettings, WithoutAThumbprintTheTransportCertificateDecrypts) {
  X509 *transport = make_transport_certificate();
  EXPECT_EQ(opened(seal(kSecret, transport), nullptr), kSecret);
  EXPECT_EQ(opened(seal(kSecret), nullptr), "none");
}

TEST_F(HandlerSettings, WithAnUnknownThumbprintTheTransportCertificateDecrypts) {
  X509 *transport = make_transport_certificate();
  EXPECT_EQ(opened(seal(kSecret, transport), thumbprint(2).c_str()), kSecret);
  EXPECT_EQ(opened(seal(kSecret, transport), ""), kSecret);
}

TEST_F(HandlerSettings, WhenAStoredCertificateGivesNothingTheTransportCertificateIsTried) {
  X509 *transport = make_transport_certificate();
  recording::set_debug_level(7);
  EXPECT_EQ(opened(seal(kSecret, transport), thumbprint().c_str()), kSecret);
  ASSERT_GE(recording::messages().size(), 1u);
  EXPECT_EQ(recording::messages().back(), std::string("[kelvane]: DECRYPTED: '") + kSecret + "'\n");
}

TEST_F(HandlerSettings, WithoutATransportCertificateTheResultIsNothing) {
  EXPECT_EQ(opened(seal(kSecret), nullptr), "none");
  EXPECT_EQ(opened(seal(kSecret), thumbprint(2).c_str()), "none");
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(HandlerSettings, AThumbprintInLowerCaseIsAnotherOne) {
  EXPECT_EQ(opened(seal(kSecret), lower(thumbprint()).c_str()), "none");
}

TEST_F(HandlerSettings, ACertificateWithoutItsKeyIsNotUsed) {
  sealed::put_into_store(2, true, false);
  EXPECT_EQ(opened(seal(kSecret, 2), thumbprint(2).c_str()), "none");
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(HandlerSettings, AMessageToAnotherCertificateGivesNothing) {
  EXPECT_EQ(opened(seal(kSecret, 2), thumbprint().c_str()), "none");
}

TEST_F(HandlerSettings, TheTwentyFirstCertificateFoundNoRoom) {
  for (uint8_t i = 2; i <= 20; i++) {
    const uint8_t key_id[] = {i, 9};
    const containers::Certificate made = containers::certificate(containers::rsa_key(2), "filler", 100 + i);
    X509_up_ref(made.get());
    kelvane::CertStoreCert(key_id, sizeof key_id, made.get());
  }
  sealed::put_into_store(3);
  EXPECT_EQ(opened(seal(kSecret, 3), thumbprint(3).c_str()), "none");
  EXPECT_EQ(opened(seal(kSecret), thumbprint().c_str()), kSecret);
}

TEST_F(HandlerSettings, EveryJsonValueIsAResult) {
  for (const char *text : {"[1,2]", "{}", "\"text\"", "7", "true"}) {
    EXPECT_EQ(opened(seal(text), thumbprint().c_str()), text);
  }
}

TEST_F(HandlerSettings, APlaintextThatIsNoJsonGivesNothing) {
  for (const std::string &text : {std::string("no JSON"), std::string(), std::string("null"), std::string("{\"a\":"),
                                  std::string("\0{}", 3), std::string("\xff\xfe")}) {
    EXPECT_EQ(opened(seal(text), thumbprint().c_str()), "none") << text;
  }
}

TEST_F(HandlerSettings, ThePlaintextEndsAtAZeroByte) {
  EXPECT_EQ(opened(seal(std::string("{\"a\":1}\0junk", 12)), thumbprint().c_str()), "{\"a\":1}");
}

TEST_F(HandlerSettings, LargeSettingsAreDecrypted) {
  const std::string text = R"({"a":")" + std::string(190000, 'x') + R"("})";
  EXPECT_EQ(opened(seal(text), thumbprint().c_str()), text);
}

TEST_F(HandlerSettings, NestingBeyondTheParsersDepthGivesNothing) {
  EXPECT_EQ(opened(seal(std::string(100, '[') + std::string(100, ']')), thumbprint().c_str()), "none");
}

TEST_F(HandlerSettings, TextsThatAreNoMessageGiveNothingAndNoFailureIsLogged) {
  recording::set_debug_level(6);
  const std::string whole = seal(kSecret);
  for (const std::string &text :
       {std::string(), std::string("!"), std::string("===="), std::string("QUJD"),
        support::base64(std::string(100, '0')), support::base64(containers::der(sealed::certificate())),
        whole.substr(0, whole.size() / 2), "*" + whole, whole + "*"}) {
    EXPECT_EQ(opened(text, thumbprint().c_str()), "none");
  }
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(HandlerSettings, AMessageThatIsNotEnvelopedGivesNothing) {
  PKCS7 *message = PKCS7_new();
  PKCS7_set_type(message, NID_pkcs7_data);
  ASN1_OCTET_STRING_set(message->d.data, reinterpret_cast<const unsigned char *>("{}"), 2);
  unsigned char *der = nullptr;
  const int length = i2d_PKCS7(message, &der);
  const std::string text = support::base64(std::string(reinterpret_cast<char *>(der), static_cast<size_t>(length)));
  OPENSSL_free(der);
  PKCS7_free(message);
  EXPECT_EQ(opened(text, thumbprint().c_str()), "none");
}

TEST_F(HandlerSettings, TextsCutOffOrDamagedAnywhereDoNoHarm) {
  const std::string whole = seal(R"({"a":1})");
  for (size_t length = 0; length + 4 < whole.size(); length += 3) {
    EXPECT_EQ(opened(whole.substr(0, length), thumbprint().c_str()), "none") << length;
  }
  for (size_t at = 0; at < whole.size(); at += 5) {
    std::string damaged = whole;
    damaged[at] = damaged[at] == 'A' ? 'B' : 'A';
    opened(damaged, thumbprint().c_str());
  }
}

TEST_F(HandlerSettings, ThePlaintextIsLoggedAboveSixOnly) {
  recording::set_debug_level(6);
  opened(seal(kSecret), thumbprint().c_str());
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  opened(seal("%s 100%"), thumbprint().c_str());
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: DECRYPTED: '%s 100%'\n"});
}

TEST_F(HandlerSettings, AFailedDecryptionIsAnEmptyPlaintextInTheLog) {
  recording::set_debug_level(7);
  opened("QUJD", thumbprint().c_str());
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: DECRYPTED: ''\n"});
}

TEST_F(HandlerSettings, ThePlaintextAndEveryTextOfTheResultAreWiped) {
  opened(seal(kSecret), thumbprint().c_str());
  EXPECT_NE(std::find(wiped.begin(), wiped.end(), std::string(kSecret) + '\0'), wiped.end());
  for (const char *text : {"the secret command", "first secret", "second secret"}) {
    EXPECT_NE(std::find(wiped.begin(), wiped.end(), text), wiped.end()) << text;
  }
}

TEST_F(HandlerSettings, WithoutMemoryForTheBuffersThereIsNoResult) {
  const std::string text = seal(kSecret);
  for (const int nth : {1, 2}) {
    refuse_calloc = nth;
    EXPECT_EQ(opened(text, thumbprint().c_str()), "none") << nth;
    EXPECT_EQ(refuse_calloc, 0);
  }
  EXPECT_EQ(opened(text, thumbprint().c_str()), kSecret);
}

// ---- HandlerUtilParseConfig ----

TEST_F(HandlerSettings, TheProtectedSettingsOfADocumentAreReplaced) {
  EXPECT_EQ(parsed(document(quoted(seal(kSecret)), quoted(thumbprint()))),
            R"({"runtimeSettings":[{"handlerSettings":{"protectedSettings":)" + std::string(kSecret) +
                R"(,"protectedSettingsCertThumbprint":")" + thumbprint() + R"(","publicSettings":{"a":1}}}]})");
}

TEST_F(HandlerSettings, EveryJsonValueReplacesThem) {
  EXPECT_THAT(parsed(document(quoted(seal("[1,2]")), quoted(thumbprint()))),
              testing::HasSubstr(R"("protectedSettings":[1,2])"));
}

TEST_F(HandlerSettings, TextsThatAreNoDocumentGiveNothing) {
  EXPECT_FALSE(HandlerUtilParseConfig(nullptr).present());
  for (const char *text : {"", "no JSON", "[]", "7", "\"text\"", "null", "true", "{\"a\":"}) {
    EXPECT_EQ(parsed(text), "none") << text;
  }
}

TEST_F(HandlerSettings, DocumentsOfAnotherShapeComeBackUnchanged) {
  for (const std::string &text :
       {std::string("{}"), std::string(R"({"other":"member"})"), std::string(R"({"runtimeSettings":null})"),
        std::string(R"({"runtimeSettings":{}})"), std::string(R"({"runtimeSettings":[]})"),
        std::string(R"({"runtimeSettings":[null]})"), std::string(R"({"runtimeSettings":["text"]})"),
        std::string(R"({"runtimeSettings":[{}]})"), std::string(R"({"runtimeSettings":[{"handlerSettings":[]}]})"),
        std::string(R"({"runtimeSettings":[{"handlerSettings":{}}]})"), document("7", quoted(thumbprint())),
        document("null", quoted(thumbprint())), document(quoted("text"), "7"), document(quoted("text"), "null")}) {
    EXPECT_EQ(parsed(text), text);
  }
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(HandlerSettings, OnlyTheFirstElementIsUsed) {
  const std::string settings = R"({"handlerSettings":{"protectedSettings":")" + seal(kSecret) +
                               R"(","protectedSettingsCertThumbprint":")" + thumbprint() + R"("}})";
  EXPECT_EQ(parsed(R"({"runtimeSettings":[{},)" + settings + "]}"), R"({"runtimeSettings":[{},)" + settings + "]}");
}

TEST_F(HandlerSettings, WithAnUnknownThumbprintTheStringStays) {
  const std::string text = document(quoted(seal(kSecret, 2)), quoted(thumbprint(2)));
  EXPECT_EQ(parsed(text), text);
  const std::string in_lower_case = document(quoted(seal(kSecret)), quoted(lower(thumbprint())));
  EXPECT_EQ(parsed(in_lower_case), in_lower_case);
}

TEST_F(HandlerSettings, ADocumentIsNeverDecryptedWithTheTransportCertificate) {
  X509 *transport = make_transport_certificate();
  for (const std::string &name : {thumbprint(), thumbprint(2)}) {
    const std::string text = document(quoted(seal(kSecret, transport)), quoted(name));
    EXPECT_EQ(parsed(text), text);
  }
}

TEST_F(HandlerSettings, ACertificateWithoutItsKeyLeavesTheString) {
  sealed::put_into_store(2, true, false);
  const std::string text = document(quoted(seal(kSecret, 2)), quoted(thumbprint(2)));
  EXPECT_EQ(parsed(text), text);
}

TEST_F(HandlerSettings, APlaintextThatIsNoJsonLeavesTheString) {
  for (const char *secret : {"no JSON", "", "null"}) {
    const std::string text = document(quoted(seal(secret)), quoted(thumbprint()));
    EXPECT_EQ(parsed(text), text);
  }
}

TEST_F(HandlerSettings, TheTextsOfADocumentAreWipedWhenItEnds) {
  parsed(document(quoted(seal(kSecret)), quoted(thumbprint())));
  EXPECT_NE(std::find(wiped.begin(), wiped.end(), "second secret"), wiped.end());
}

// ---- HandlerUtilGetSettings ----

class GetSettings : public HandlerSettings {
 protected:
  // "code protected public", none for what is not handed out.
  static std::string found(const std::string &text) {
    const kelvane::JsonOwner parsed_document(json_tokener_parse(text.c_str()));
    json_object *protected_object = nullptr;
    json_object *public_object = nullptr;
    const int32_t code = HandlerUtilGetSettings(parsed_document.get(), &protected_object, &public_object);
    return std::to_string(code) + " " + shown(protected_object) + " " + shown(public_object);
  }
  static std::string shown(json_object *object) {
    return object != nullptr ? json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN) : "none";
  }
};

TEST_F(GetSettings, TellsWhatADocumentLacks) {
  const std::pair<const char *, const char *> cases[] = {
      {"null", "-1 none none"},
      {"[]", "-2 none none"},
      {"\"text\"", "-2 none none"},
      {"7", "-2 none none"},
      {"{}", "-3 none none"},
      {R"({"runtimeSettings":null})", "-3 none none"},
      {R"({"runtimeSettings":{}})", "-3 none none"},
      {R"({"runtimeSettings":"text"})", "-3 none none"},
      {R"({"runtimeSettings":[]})", "-4 none none"},
      {R"({"runtimeSettings":[null]})", "-5 none none"},
      {R"({"runtimeSettings":[[]]})", "-5 none none"},
      {R"({"runtimeSettings":["text",{}]})", "-5 none none"},
      {R"({"runtimeSettings":[{}]})", "-6 none none"},
      {R"({"runtimeSettings":[{"handlerSettings":null}]})", "-6 none none"},
      {R"({"runtimeSettings":[{"handlerSettings":[]}]})", "-6 none none"},
      {R"({"runtimeSettings":[{"handlerSettings":{}}]})", "0 none none"},
  };
  for (const auto &[text, expected] : cases) {
    EXPECT_EQ(found(text), expected) << text;
  }
}

TEST_F(GetSettings, HandsOutBothObjects) {
  EXPECT_EQ(found(document(R"({"b":2})", "null")), R"(0 {"b":2} {"a":1})");
}

TEST_F(GetSettings, ProtectedSettingsThatAreStillAStringAreNotHandedOut) {
  EXPECT_EQ(found(document(quoted(seal(kSecret)), quoted(thumbprint()))), R"(0 none {"a":1})");
  EXPECT_EQ(found(document("[1]", "null")), R"(0 none {"a":1})");
}

TEST_F(GetSettings, PublicSettingsOfAnotherTypeAreNotHandedOut) {
  for (const char *value : {"null", "[]", "\"text\"", "7"}) {
    EXPECT_EQ(found(document(R"({"b":2})", "null", value)), R"(0 {"b":2} none)");
  }
}

TEST_F(GetSettings, AfterDecryptionTheObjectIsHandedOut) {
  const JsonSecretOwner whole = HandlerUtilParseConfig(document(quoted(seal(kSecret)), quoted(thumbprint())).c_str());
  json_object *protected_object = nullptr;
  EXPECT_EQ(HandlerUtilGetSettings(whole.get(), &protected_object, nullptr), 0);
  EXPECT_EQ(shown(protected_object), kSecret);
}

TEST_F(GetSettings, OutputsMayBeMissingAndStayAsTheyAreWithoutAValue) {
  const kelvane::JsonOwner whole(json_tokener_parse(document(R"({"b":2})", "null").c_str()));
  json_object *object = nullptr;
  EXPECT_EQ(HandlerUtilGetSettings(whole.get(), nullptr, nullptr), 0);
  EXPECT_EQ(HandlerUtilGetSettings(whole.get(), nullptr, &object), 0);
  EXPECT_EQ(shown(object), R"({"a":1})");
  json_object *before = object;
  const kelvane::JsonOwner empty(json_tokener_parse(R"({"runtimeSettings":[{"handlerSettings":{}}]})"));
  EXPECT_EQ(HandlerUtilGetSettings(empty.get(), &object, &object), 0);
  EXPECT_EQ(object, before);
  EXPECT_EQ(HandlerUtilGetSettings(nullptr, &object, &object), -1);
  EXPECT_EQ(object, before);
}

}  // namespace
