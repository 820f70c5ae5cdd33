#include "tests/simulate/view.h"

#include "tests/simulate/documents.h"

namespace simulate {

namespace {

View gsView;

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The revision whose document these bytes are, exactly; null for anything else, which must change nothing.
template <typename Document>
const Revision *revision_of(std::string_view bytes, Document document) {
  const World &w = world();
  if (bytes == document(w.current)) {
    return &w.current;
  }
  return bytes == document(w.previous) ? &w.previous : nullptr;
}

}  // namespace

const View &view() {
  return gsView;
}

void view_given(std::string_view url, CURLcode result, std::string_view collected) {
  if (result != CURLE_OK) {
    return;
  }
  if (contains(url, "comp=goalstate")) {
    const Revision *told = revision_of(collected, goal_state_document);
    gsView.incarnation = told != nullptr ? told->incarnation : gsView.incarnation;
  } else if (contains(url, "comp=extensions")) {
    const Revision *told = revision_of(collected, extensions_document);
    gsView.effective = told != nullptr ? *told : gsView.effective;
  }
}

bool view_is_current() {
  const int32_t wanted = world().current.incarnation;
  return gsView.incarnation == wanted && gsView.effective.incarnation == wanted;
}

}  // namespace simulate
