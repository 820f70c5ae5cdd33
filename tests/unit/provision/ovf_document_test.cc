#include "provision/ovf_document.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/base/xml_caps.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/refused_memory.h"
#include "tests/support/watched_memory.h"
#include "tests/unit/provision/xml_deletes.h"

namespace {

const char kOpenMedia[] = "open(\"/cdrom/ovf-env.xml\", read)";
const char kCloseMedia[] = "close(\"/cdrom/ovf-env.xml\")";
const char kOpenKept[] = "open(\"/data/etc/.ovf-env.xml\", read)";
const char kCloseKept[] = "close(\"/data/etc/.ovf-env.xml\")";
const char kKept[] = "access(\"/data/etc/.ovf-env.xml\", F_OK)";
const char kNotKept[] = "access(\"/data/etc/.ovf-env.xml\", F_OK) -> ENOENT";
const char kCopy[] = "ncfg_copyfile(\"/cdrom/ovf-env.xml\", \"/data/etc/.ovf-env.xml\")";
const char kNoCustomData[] = "access(\"/cdrom/CustomData.bin\", R_OK) -> ENOENT";
const char kLoading[] = "message: [kelvane]: OvfEnvLoad:208 - loading ovf-env.xml\\n";
const char kParsing[] = "message: [kelvane]: OvfEnvLoad:215 - parsing ovf-env.xml\\n";
const char kCustomData[] = "message: [kelvane]: OvfEnvLoad:231 - Copy customdata file\\n";
const char kSuccess[] = "message: [kelvane]: OvfEnvLoad:236 - done - success\\n";
const char kFailed[] = "message: [kelvane]: OvfEnvLoad:236 - done - failed\\n";

class OvfDocument : public RecordingTest {
 protected:
  OvfDocument() { recording::set_debug_level(7); }
  ~OvfDocument() override { on_xml_delete() = nullptr; }

  // The host name in the document that is loaded; "(none)" without a document.
  static std::string load() {
    bool no_memory = true;
    const kelvane::XmlOwner document = kelvane::OvfEnvLoad(&no_memory);
    if (!document.present()) {
      return no_memory ? "(no memory)" : "(none)";
    }
    EXPECT_FALSE(no_memory);
    kelvane::Text name;
    EXPECT_EQ(kelvane::xml_take_text(document.get(), "HostName", &name), 0);
    return kelvane::text_or(name.get(), "(no name)");
  }

  FakeOs os_;
};

TEST_F(OvfDocument, IsLoadedFromTheMediumAndKept) {
  os_.write("/cdrom/ovf-env.xml", "<E><HostName>medium</HostName></E>");
  EXPECT_EQ(load(), "medium");
  EXPECT_EQ(recording::trace(),
            (Lines{kLoading, kOpenMedia, kParsing, kCloseMedia, kNotKept, kCopy, kNoCustomData, kSuccess}));
}

TEST_F(OvfDocument, IsNotKeptASecondTime) {
  os_.write("/cdrom/ovf-env.xml", "<E><HostName>medium</HostName></E>");
  os_.write("/data/etc/.ovf-env.xml", "<E><HostName>kept</HostName></E>");
  EXPECT_EQ(load(), "medium");
  EXPECT_EQ(recording::trace(), (Lines{kLoading, kOpenMedia, kParsing, kCloseMedia, kKept, kNoCustomData, kSuccess}));
}

TEST_F(OvfDocument, WithoutAMediumComesFromTheKeptCopy) {
  os_.write("/data/etc/.ovf-env.xml", "<E><HostName>kept</HostName></E>");
  EXPECT_EQ(load(), "kept");
  EXPECT_EQ(recording::trace(), (Lines{kLoading, std::string(kOpenMedia) + " -> ENOENT", kOpenKept, kParsing,
                                       kCloseKept, kKept, kNoCustomData, kSuccess}));
}

TEST_F(OvfDocument, WithoutEitherThereIsNone) {
  EXPECT_EQ(load(), "(none)");
  EXPECT_EQ(recording::trace(), (Lines{kLoading, std::string(kOpenMedia) + " -> ENOENT",
                                       std::string(kOpenKept) + " -> ENOENT", kNoCustomData, kFailed}));
}

TEST_F(OvfDocument, AnXmlDeclarationIsFine) {
  os_.write("/cdrom/ovf-env.xml", "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<E><HostName>medium</HostName></E>\n");
  EXPECT_EQ(load(), "medium");
}

struct BadDocument {
  const char *what;
  std::string bytes;
};
void PrintTo(const BadDocument &document, std::ostream *out) {
  *out << document.what;
}

class OvfDocumentBad : public OvfDocument, public testing::WithParamInterface<BadDocument> {};

// The broken document is kept, and the kept copy of an earlier start is not asked: the medium was readable.
TEST_P(OvfDocumentBad, IsNoneAndIsKeptAllTheSame) {
  os_.write("/cdrom/ovf-env.xml", GetParam().bytes);
  EXPECT_EQ(load(), "(none)");
  EXPECT_EQ(recording::trace(),
            (Lines{kLoading, kOpenMedia, kParsing, kCloseMedia, kNotKept, kCopy, kNoCustomData, kFailed}));
}

INSTANTIATE_TEST_SUITE_P(Documents, OvfDocumentBad,
                         testing::Values(BadDocument{"Empty", ""}, BadDocument{"NoElement", "host name"},
                                         BadDocument{"Truncated", "<E><HostName>medium</Host"},
                                         BadDocument{"Binary", std::string("\x00\x01\x7f"
                                                                           "ELF\xff\xfe",
                                                                           8)},
                                         BadDocument{"ZeroByte", std::string("<E>\0</E>", 8)},
                                         BadDocument{"NotUtf8", "<E><HostName a=\"\xC3\">x</HostName></E>"}));

TEST_F(OvfDocument, AHugeOneIsRefusedWithoutReadingIt) {
  os_.write("/cdrom/ovf-env.xml", "<E><HostName>medium</HostName></E>");
  ASSERT_EQ(truncate(os_.real("/cdrom/ovf-env.xml").c_str(), off_t{100} * 1024 * 1024 * 1024), 0);
  EXPECT_EQ(load(), "(none)");
}

TEST_F(OvfDocument, OneOfTheLargestSizeIsRead) {
  const std::string head = "<E><HostName>medium</HostName><X>";
  const std::string tail = "</X></E>";
  const size_t cap = kelvane::kXmlMaxBytes;
  os_.write("/cdrom/ovf-env.xml", head + std::string(cap - head.size() - tail.size(), 'x') + tail);
  EXPECT_EQ(load(), "medium");
  os_.write("/cdrom/ovf-env.xml", head + std::string(cap - head.size() - tail.size() + 1, 'x') + tail);
  EXPECT_EQ(load(), "(none)");
}

// It is kept, and the lines are those of a document that does not parse.
TEST_F(OvfDocument, WithoutMemoryForItIsToldApartFromNone) {
  os_.write("/cdrom/ovf-env.xml", "<E><HostName>" + std::string(1471, 'h') + "</HostName></E>");
  {
    const refused_memory::Refusal refusal(16385);
    EXPECT_EQ(load(), "(no memory)");
  }
  EXPECT_EQ(recording::trace(),
            (Lines{kLoading, kOpenMedia, kParsing, kCloseMedia, kNotKept, kCopy, kNoCustomData, kFailed}));
  EXPECT_EQ(load(), std::string(1471, 'h'));
}

TEST_F(OvfDocument, AFolderOrAPipeInItsPlaceIsNone) {
  ASSERT_EQ(::mkdir(os_.real("/cdrom/ovf-env.xml").c_str(), 0700), 0);
  EXPECT_EQ(load(), "(none)");
  ASSERT_EQ(::rmdir(os_.real("/cdrom/ovf-env.xml").c_str()), 0);
  ASSERT_EQ(mkfifo(os_.real("/cdrom/ovf-env.xml").c_str(), 0600), 0);
  EXPECT_EQ(load(), "(none)");
}

TEST_F(OvfDocument, AFailedCopyChangesNothing) {
  os_.write("/cdrom/ovf-env.xml", "<E><HostName>medium</HostName></E>");
  recording::fail_always("ncfg_copyfile");
  EXPECT_EQ(load(), "medium");
  EXPECT_EQ(recording::trace().back(), kSuccess);
}

TEST_F(OvfDocument, CustomDataIsCopiedToTheWaitingPlace) {
  os_.write("/cdrom/CustomData.bin", "data");
  EXPECT_EQ(load(), "(none)");
  EXPECT_EQ(recording::trace(),
            (Lines{kLoading, std::string(kOpenMedia) + " -> ENOENT", std::string(kOpenKept) + " -> ENOENT",
                   "access(\"/cdrom/CustomData.bin\", R_OK)", "access(\"/data/etc/.customdata\", F_OK) -> ENOENT",
                   kCustomData, "ncfg_copyfile(\"/cdrom/CustomData.bin\", \"/etc/tmpdata.conf\")", kFailed}));
}

TEST_F(OvfDocument, WaitingCustomDataIsCopiedAgain) {
  os_.write("/cdrom/CustomData.bin", "data");
  os_.write("/etc/tmpdata.conf", "older");
  load();
  EXPECT_EQ(recording::calls_of("ncfg_copyfile"),
            Lines{"ncfg_copyfile(\"/cdrom/CustomData.bin\", \"/etc/tmpdata.conf\")"});
}

TEST_F(OvfDocument, FinalCustomDataIsNotCopiedAgain) {
  os_.write("/cdrom/CustomData.bin", "data");
  os_.write("/data/etc/.customdata", "");
  load();
  EXPECT_EQ(recording::calls_of("ncfg_copyfile"), Lines{});
  EXPECT_THAT(recording::trace(), testing::Not(testing::Contains(kCustomData)));
}

TEST_F(OvfDocument, ItsLinesPrintAboveSixOnly) {
  os_.write("/cdrom/ovf-env.xml", "<E/>");
  os_.write("/cdrom/CustomData.bin", "data");
  recording::set_debug_level(6);
  load();
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(OvfDocument, LeavesNothingInTheReadBuffer) {
  const std::string document = "<E><UserPassword>secret-1</UserPassword></E>";
  os_.write("/cdrom/ovf-env.xml", document);
  load();
  EXPECT_THAT(watched_memory::wiped, testing::Contains(document));
}

TEST_F(OvfDocument, PasswordsAreOverwrittenBeforeItIsFreed) {
  os_.write("/cdrom/ovf-env.xml",
            "<E><HostName>h</HostName><UserPassword>secret-1 two</UserPassword>"
            "<A><UserPassword><![CDATA[secret-2]]></UserPassword></A></E>");
  bool no_memory = false;
  kelvane::XmlOwner document = kelvane::OvfEnvLoad(&no_memory);
  std::string left;
  on_xml_delete() = [&](mxml_node_t *top) {
    char *text = mxmlSaveAllocString(top, MXML_NO_CALLBACK);
    left = text;
    free(text);
  };
  kelvane::OvfEnvFree(&document);
  EXPECT_EQ(document.present(), false);
  EXPECT_THAT(left, testing::HasSubstr("<HostName>h</HostName>"));
  EXPECT_THAT(left, testing::Not(testing::HasSubstr("secret")));
  EXPECT_THAT(left, testing::Not(testing::HasSubstr("two")));
}

TEST_F(OvfDocument, FreeingNoneDoesNothing) {
  kelvane::XmlOwner none;
  kelvane::OvfEnvFree(&none);
  EXPECT_EQ(none.present(), false);
}

}  // namespace
