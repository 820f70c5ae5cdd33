#include "tests/fuzz/quick_sqlite.h"

#include <fcntl.h>
#include <sanitizer/asan_interface.h>
#include <sqlite3.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <vector>

#include "tests/fuzz/properties.h"

#define NOT_WATCHED __attribute__((no_sanitize("address")))

namespace {

// A piece has room for 16, 32, 64... bytes, behind a head that is always poisoned. Pieces of one size wait in a queue,
// so that the one that was given back last is lent last. Their memory is not the heap's, where libFuzzer would take a
// pool that grows for a leak.
struct alignas(16) Head {
  Head *next;
  int lent;
};
struct Queue {
  Head *first;
  Head *last;
};
constexpr int kKinds = 17;
constexpr size_t kMemory = size_t{256} << 20;
Queue waiting[kKinds];
char *memory = nullptr;
size_t used = 0;

size_t kind_of(int size) {
  size_t kind = 0;
  while (16 << kind < size) {
    kind++;
  }
  return kind;
}

NOT_WATCHED Head *head_of(void *piece) {
  return static_cast<Head *>(piece) - 1;
}

NOT_WATCHED int lent_size(void *piece) {
  return piece != nullptr ? head_of(piece)->lent : 0;
}

Head *new_piece(size_t kind) {
  auto *head = reinterpret_cast<Head *>(memory + used);
  used += sizeof(Head) + (size_t{16} << kind);
  fuzz::require(used <= kMemory, "SQLite takes no more than this");
  return head;
}

NOT_WATCHED Head *take_first(Queue *queue) {
  Head *head = queue->first;
  queue->first = head->next;
  return head;
}

NOT_WATCHED void *lend(int size) {
  const size_t kind = kind_of(size);
  if (kind >= kKinds) {
    return nullptr;
  }
  Head *head = waiting[kind].first != nullptr ? take_first(&waiting[kind]) : new_piece(kind);
  head->lent = size;
  head->next = nullptr;
  ASAN_UNPOISON_MEMORY_REGION(head + 1, static_cast<size_t>(size));
  return head + 1;
}

NOT_WATCHED void take_back(void *piece) {
  if (piece == nullptr) {
    return;
  }
  Head *head = head_of(piece);
  ASAN_POISON_MEMORY_REGION(piece, static_cast<size_t>(head->lent));
  Queue &queue = waiting[kind_of(head->lent)];
  (queue.first == nullptr ? queue.first : queue.last->next) = head;
  queue.last = head;
}

void *lend_again(void *piece, int size) {
  void *other = lend(size);
  if (other != nullptr) {
    std::memcpy(other, piece, static_cast<size_t>(std::min(lent_size(piece), size)));
    take_back(piece);
  }
  return other;
}

int rounded(int size) {
  return (size + 7) / 8 * 8;
}

int begin(void *) {
  void *start = mmap(nullptr, kMemory, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (start == MAP_FAILED) {
    return SQLITE_NOMEM;
  }
  memory = static_cast<char *>(start);
  ASAN_POISON_MEMORY_REGION(memory, kMemory);
  return SQLITE_OK;
}

void end(void *) {}

const sqlite3_mem_methods kPool = {lend, take_back, lend_again, lent_size, rounded, begin, end, nullptr};

struct Kept {
  sqlite3_stmt *statement;
  sqlite3 *database;
  const char *sql;  // which is a literal
  bool in_use;
};
std::vector<Kept> kept;

// Locks of the file system are for other processes: there are none, and two connections of one do without.
int no_locks(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  if (command == F_GETLK) {
    static_cast<struct flock *>(argument)->l_type = F_UNLCK;
  }
  const bool lock = command == F_GETLK || command == F_SETLK || command == F_SETLKW;
  return lock ? 0 : fcntl(descriptor, command, argument);
}

}  // namespace

// In place of the C library's, for SQLite: nothing here outlives the process.
extern "C" int fdatasync(int) {
  return 0;
}

void fuzz::make_sqlite_quick() {
  require(sqlite3_config(SQLITE_CONFIG_SINGLETHREAD) == SQLITE_OK &&
              sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK &&
              sqlite3_config(SQLITE_CONFIG_MALLOC, &kPool) == SQLITE_OK,
          "SQLite is not in use yet");
  sqlite3_vfs *files = sqlite3_vfs_find(nullptr);
  require(files != nullptr &&
              files->xSetSystemCall(files, "fcntl", reinterpret_cast<sqlite3_syscall_ptr>(no_locks)) == SQLITE_OK,
          "SQLite takes another call for its locks");
}

extern "C" {

int __real_sqlite3_prepare_v2(sqlite3 *database, const char *sql, int length, sqlite3_stmt **out, const char **tail);
int __real_sqlite3_finalize(sqlite3_stmt *statement);
int __real_sqlite3_close(sqlite3 *database);
int __wrap_sqlite3_prepare_v2(sqlite3 *database, const char *sql, int length, sqlite3_stmt **out, const char **tail);
int __wrap_sqlite3_finalize(sqlite3_stmt *statement);
int __wrap_sqlite3_close(sqlite3 *database);

int __wrap_sqlite3_prepare_v2(sqlite3 *database, const char *sql, int length, sqlite3_stmt **out, const char **tail) {
  for (Kept &one : kept) {
    if (one.sql == sql && one.database == database && !one.in_use) {
      one.in_use = true;
      *out = one.statement;
      return SQLITE_OK;
    }
  }
  const int result = __real_sqlite3_prepare_v2(database, sql, length, out, tail);
  if (*out != nullptr) {
    kept.push_back({*out, database, sql, true});
  }
  return result;
}

int __wrap_sqlite3_finalize(sqlite3_stmt *statement) {
  for (Kept &one : kept) {
    if (one.statement == statement) {
      one.in_use = false;
      sqlite3_clear_bindings(statement);
      return sqlite3_reset(statement);
    }
  }
  return SQLITE_OK;
}

// One that is still in use makes the library refuse, as ever.
int __wrap_sqlite3_close(sqlite3 *database) {
  const auto unused = [database](const Kept &one) {
    return !one.in_use && one.database == database && __real_sqlite3_finalize(one.statement) == SQLITE_OK;
  };
  kept.erase(std::remove_if(kept.begin(), kept.end(), unused), kept.end());
  return __real_sqlite3_close(database);
}
}
