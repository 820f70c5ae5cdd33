#include "tests/simulate/view.h"

#include <cstdlib>
#include <string>

#include "tests/simulate/documents.h"
#include "tests/simulate/metadata_service.h"
#include "tests/simulate/text.h"

namespace simulate {

namespace {

View gsView;

// The revision whose document these bytes are, exactly; null for anything else, which must change nothing.
template <typename Document>
const Revision *revision_of(std::string_view bytes, Document document) {
  const World &w = world();
  if (bytes == document(w.current)) {
    return &w.current;
  }
  return bytes == document(w.previous) ? &w.previous : nullptr;
}

void goal_state_given(const Given &given) {
  gsView.asked++;
  const Revision *told = given.result == CURLE_OK ? revision_of(given.collected, goal_state_document) : nullptr;
  gsView.incarnation = told != nullptr ? told->incarnation : gsView.incarnation;
}

void extensions_given(const Given &given) {
  gsView.extensions_asked++;
  const Revision *told = given.result == CURLE_OK ? revision_of(given.collected, extensions_document) : nullptr;
  if (told != nullptr) {
    gsView.effective = gsView.held = *told;
  }
}

// ---- the metadata service --------------------------------------------------------------------------------------

constexpr int kAttempts = 3;

// The number in the header's quotation marks; 0 for none. Not compared, as two more revisions may have come since.
int32_t etag_in(std::string_view header) {
  const size_t quote = header.find('"');
  return quote != std::string_view::npos ? std::atoi(std::string(header.substr(quote + 1)).c_str()) : 0;
}

// The call is over: what it brought counts for this pass alone, the rest stays for the configuration dump.
void handlers_told(const Given &given) {
  static const Revision kNothing = {};
  static int32_t marker = 0;  // of the pass before
  const Revision *told = nullptr;
  if (given.result == CURLE_OK) {
    told = given.body == metadata_error_document() ? &kNothing : revision_of(given.body, handlers_document);
  }
  gsView.effective = told != nullptr ? *told : kNothing;
  if (told != nullptr) {
    gsView.held = *told;
    gsView.held_etag = gsView.incarnation;
  }
  const bool same_etag = gsView.incarnation != 0 && gsView.incarnation == marker;
  const bool whole = gsView.incarnation != 0 && gsView.effective.incarnation == gsView.incarnation;
  // Another document under the same ETag is acted on where it asks for a newer version, and nothing undoes that.
  const bool astray = gsView.effective.count > 0 && !whole;
  const bool missed = gsView.incarnation != 0 && (same_etag ? gsView.missed || astray : !whole);
  world().counts.missed += missed && !gsView.missed ? 1 : 0;
  gsView.missed = missed;
  marker = gsView.incarnation;
}

void handlers_given(const Given &given) {
  static int attempts = 0;
  gsView.asked++;
  if (attempts++ == 0) {
    gsView.incarnation = 0;
  }
  const int32_t etag = etag_in(given.header);
  gsView.incarnation = etag != 0 ? etag : gsView.incarnation;
  if (given.result == CURLE_OK || attempts == kAttempts) {
    attempts = 0;
    handlers_told(given);
  }
}

// Readable or not does not depend on the revision otherwise.
template <typename Document>
void tenant_given(const Given &given, Document document) {
  Revision readable = {};
  readable.readable = true;
  const std::string_view bytes = world().metadata ? given.body : given.collected;
  const bool came = given.result == CURLE_OK && bytes == document(readable) && !world().keyless;
  gsView.tenant = gsView.tenant || came;
}

void certificates_given(const Given &given) {
  gsView.certificates_asked++;
  tenant_given(given, certificates_document);
}

void list_given(const Given &given) {
  gsView.certificates_asked++;
  gsView.certificate_due = given.result == CURLE_OK && given.body == metadata_certificate_list();
}

void certificate_given(const Given &given) {
  tenant_given(given, certificate_data_document);
  gsView.certificates++;
  gsView.certificate_due = false;
}

struct Row {
  const char *part;  // of the address
  void (*given)(const Given &given);
};

constexpr Row kRows[] = {
    {"comp=goalstate", goal_state_given},
    {"comp=extensions", extensions_given},
    {"comp=certificates", certificates_given},
    {"Microsoft.Compute/certificates?", list_given},
    {"Microsoft.Compute/certificateData/", certificate_given},
    {"Microsoft.Compute/extensionHandlers", handlers_given},
};

}  // namespace

const View &view() {
  return gsView;
}

void view_given(const Given &given) {
  for (const Row &row : kRows) {
    if (contains(given.url, row.part)) {
      row.given(given);
    }
  }
}

// Told for the first time in this life: a goal state that is taken back asks for the extensions once more.
void view_end_pass() {
  static int32_t newest = 0;
  const int32_t wanted = world().current.incarnation;
  if (!world().metadata && gsView.incarnation == wanted && newest != wanted) {
    newest = wanted;
    world().counts.wire_changes++;
    world().counts.wire_missed += gsView.effective.incarnation != wanted ? 1 : 0;
  }
}

bool view_is_current() {
  const int32_t wanted = world().current.incarnation;
  return gsView.incarnation == wanted && gsView.effective.incarnation == wanted && !gsView.missed;
}

}  // namespace simulate
