// Documents that the room takes or shows while a library refuses to make what it needs for them.
#include <openssl/bio.h>

#include "core/base/buffer.h"
#include "core/base/xml.h"
#include "protocol/metadata/metadata_certificates.h"
#include "protocol/wire/certificates.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/wire_protocol.h"
#include "tests/unit/protocol/spies.h"

extern "C" {
BIO *__real_BIO_new(const BIO_METHOD *type);
BIO *__wrap_BIO_new(const BIO_METHOD *type);
const char *__real_json_object_to_json_string_ext(json_object *value, int flags);
const char *__wrap_json_object_to_json_string_ext(json_object *value, int flags);
}

namespace {

bool no_buffer = false;
int buffers_refused = 0;
bool no_listing = false;

}  // namespace

BIO *__wrap_BIO_new(const BIO_METHOD *type) {
  buffers_refused += no_buffer ? 1 : 0;
  return no_buffer ? nullptr : __real_BIO_new(type);
}

const char *__wrap_json_object_to_json_string_ext(json_object *value, int flags) {
  return no_listing ? nullptr : __real_json_object_to_json_string_ext(value, flags);
}

namespace {

class RefusedCalls : public WireTest {
 protected:
  ~RefusedCalls() override { no_buffer = no_listing = false; }
};

TEST_F(RefusedCalls, ACertificatesDocumentIsPassedOverWithoutABufferForItsMessage) {
  kelvane::BufferOwner document;
  kelvane::__makeBuffer(document.get(), "<CertificateFile><Data>QUJD</Data></CertificateFile>");
  no_buffer = true;
  buffers_refused = 0;
  kelvane::certificates_process(document.get());
  EXPECT_EQ(buffers_refused, 1) << "the message is not looked at";
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(RefusedCalls, ACertificateInJsonIsPassedOverWithoutABufferForItsMessage) {
  const kelvane::JsonOwner document(json_tokener_parse(R"({"certificateData":"QUJD"})"));
  no_buffer = true;
  buffers_refused = 0;
  kelvane::processJSONCertificate(document.get());
  EXPECT_EQ(buffers_refused, 1) << "the message is not looked at";
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(RefusedCalls, SettingsThatCannotBeListedAreDumpedAsNothing) {
  const std::string document =
      "<Extensions><Plugins><Plugin name=\"A\" version=\"1\"/></Plugins><PluginSettings><Plugin name=\"A\" "
      "version=\"1\"><RuntimeSettings seqNo=\"0\">{\"a\":1}</RuntimeSettings></Plugin></PluginSettings></Extensions>";
  const kelvane::XmlOwner xml = kelvane::xml_load(document.data(), document.size());
  ASSERT_EQ(kelvane::ExtConfigParse(xml.get(), kelvane::ext_config()), 0);
  const kelvane::Protocol *protocol = kelvane::ProtocolGetWire();
  no_listing = true;
  protocol->dump_config(protocol, protocol);
  EXPECT_THAT(recording::messages(), testing::Contains("   [ 0]:      Config :\n"));
}

}  // namespace
