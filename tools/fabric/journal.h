// What happened, request by request: kept in memory for the verdict and written to a file as JSON lines while it
// happens. Owned by the fabric, which holds the lock around every call. Writing blocks on the file; a journal that
// cannot be opened throws std::runtime_error, a later write that fails is told once on standard error. It holds what
// the agent sent, so the file is readable by its owner alone.
#ifndef KELVANE_TOOLS_FABRIC_JOURNAL_H
#define KELVANE_TOOLS_FABRIC_JOURNAL_H

#include <cstdio>
#include <deque>
#include <memory>
#include <string>

#include "tools/fabric/http.h"
#include "tools/fabric/judge.h"

namespace kelvane::fabric {

// One request and what became of it. A connection that was refused has no service and no method.
struct Exchange {
  size_t number = 0;
  std::string service;
  Request request;
  int status = 0;  // 0: no answer was sent
  std::vector<Header> headers;
  std::string body;
  size_t body_length = 0;  // of the answer as sent, which may be longer than what `body` keeps
  std::string fault;
  std::string fault_kind;
  Judgement judgement;
};

class Journal {
 public:
  // An empty path keeps the journal in memory alone.
  explicit Journal(const std::string &path);

  // Numbers the exchange, keeps it and writes its line.
  void add(Exchange exchange);
  // Forgets what was added, and empties the file.
  void clear();
  const std::deque<Exchange> &exchanges() const { return exchanges_; }
  // The whole journal as one JSON array.
  std::string as_array() const;

 private:
  struct Closer {
    void operator()(FILE *file) const { fclose(file); }
  };
  std::unique_ptr<FILE, Closer> file_;
  bool write_failed_ = false;
  std::deque<Exchange> exchanges_;
};

// One exchange as one line of JSON, without a line end.
std::string journal_line(const Exchange &exchange);

}  // namespace kelvane::fabric

#endif
