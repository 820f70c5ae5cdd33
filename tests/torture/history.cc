#include "tests/torture/history.h"

#include <vector>

#include "tests/scenario/run/tables.h"
#include "tests/torture/rows.h"

namespace torture {

scenario::Json newest_passwords(const std::string &root, const scenario::Json &scenario) {
  const std::vector<std::string> known = scenario::known_passwords(scenario);
  scenario::Json out = scenario::Json::object();
  for (const Row &row : rows_of(root,
                                "SELECT account, password FROM password_history h WHERE number = "
                                "(SELECT max(number) FROM password_history WHERE account = h.account)")) {
    out[row[0]] = scenario::password_in_words(row[1], known);
  }
  return out;
}

}  // namespace torture
