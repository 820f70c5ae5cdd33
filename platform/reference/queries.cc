#include "platform/reference/queries.h"

#include <map>
#include <memory>
#include <utility>

#include "platform/platform.h"
#include "platform/reference/guard.h"
#include "platform/reference/store.h"

namespace kelvane::reference {
namespace {

// A query and the record that it has lent. The contract's head comes first.
struct Query : cmf_query {
  explicit Query(const Place &where) : cmf_query{.found_key_number = 0}, place(where), lent_from(where) {}
  Place place;
  Place lent_from;  // another database's when the query was opened again since
  Bytes lent;
  std::vector<uint32_t> walk;  // key numbers still to come, the last one first
};

constexpr int32_t kKeyText = 2;

std::map<uint32_t, std::unique_ptr<Query>> shared_queries;

Query *own(cmf_query *query) {
  return static_cast<Query *>(query);
}

const Query *own(const cmf_query *query) {
  return static_cast<const Query *>(query);
}

bool is_shared(const cmf_query *query) {
  const auto shared = shared_queries.find(own(query)->place.table->definition.number);
  return shared != shared_queries.end() && shared->second.get() == query;
}

// Lends a record in fresh memory, so that the one lent before can no longer be mistaken for it.
void *lend(Query &query, std::optional<Record> record) {
  query.found_key_number = record ? record->number : 0;
  query.lent_from = query.place;
  query.lent = record ? std::move(record->bytes) : Bytes();
  return record ? query.lent.data() : nullptr;
}

// Nothing for an unknown table.
std::optional<Place> top_level_place(uint32_t number) {
  const Table *table = find_table(number);
  return table == nullptr || table->parent != 0 ? std::nullopt : store_table(*table);
}

// For a database that has taken the other's place. The record that was lent stays where it is: its borrower may look at
// it still, but not commit it.
void open_again(Query &query, const Place &place) {
  query.place = place;
  query.walk.clear();
}

Query *shared_query(uint32_t number) {
  const std::optional<Place> place = top_level_place(number);
  if (!place) {
    return nullptr;
  }
  std::unique_ptr<Query> &query = shared_queries[number];
  if (query == nullptr) {
    query = std::make_unique<Query>(*place);
  } else if (query->place.generation != place->generation) {
    open_again(*query, *place);
  }
  return query.get();
}

Query *make_query(uint32_t number) {
  const std::optional<Place> place = top_level_place(number);
  return place ? new Query(*place) : nullptr;
}

Query *make_child_query(const Query &parent, uint32_t number, const char *key) {
  const Table *table = find_table(number);
  if (table == nullptr || table->parent != parent.place.table->definition.number) {
    return nullptr;
  }
  const std::optional<Record> owner = store_find(parent.place, key);
  if (!owner) {
    return nullptr;
  }
  return new Query({.table = table, .parent_number = owner->number, .generation = parent.place.generation});
}

// A look that fails leaves its record to the next call.
void *lend_next(Query &query) {
  while (!query.walk.empty()) {
    std::optional<Record> record = store_load(query.place, query.walk.back());
    query.walk.pop_back();
    if (record) {
      return lend(query, std::move(record));
    }
  }
  return lend(query, std::nullopt);
}

void *lend_first(Query &query) {
  query.walk.clear();
  const std::vector<uint32_t> numbers = store_numbers(query.place);
  query.walk.assign(numbers.rbegin(), numbers.rend());
  return lend_next(query);
}

// Runs a look-up that ends with nothing lent when it fails. The record lent before is there to its end: the key may
// stand in it.
template <typename LookUp>
void *look_up(const char *call, cmf_query *query, LookUp body) {
  if (query == nullptr) {
    return nullptr;
  }
  void *failure = nullptr;
  return guarded(call, failure, [&] {
    Query &one = *own(query);
    const Bytes before = std::exchange(one.lent, {});
    lend(one, std::nullopt);
    return body(one);
  });
}

}  // namespace

Place place_of(const cmf_query *query) {
  return own(query)->place;
}

void drop_shared_queries() {
  shared_queries.clear();
}

}  // namespace kelvane::reference

using namespace kelvane::reference;

struct cmf_query *nCfg_query(uint32_t table) {
  return guarded<cmf_query *>("nCfg_query", nullptr, [=] { return shared_query(table); });
}

struct cmf_query *cmf_query_create(uint32_t table) {
  return guarded<cmf_query *>("cmf_query_create", nullptr, [=] { return make_query(table); });
}

struct cmf_query *cmf_query_create_child_with_key(struct cmf_query *parent, uint32_t child_table, const char *key) {
  if (parent == nullptr || key == nullptr) {
    return nullptr;
  }
  return guarded<cmf_query *>("cmf_query_create_child_with_key", nullptr,
                              [=] { return make_child_query(*own(parent), child_table, key); });
}

void cmf_query_free(struct cmf_query *query) {
  if (query != nullptr && !is_shared(query)) {
    delete own(query);
  }
}

void *cmf_query_do_table_find(struct cmf_query *query, int32_t, const char *key, int32_t key_kind) {
  return look_up("cmf_query_do_table_find", query, [=](Query &one) -> void * {
    return key == nullptr || key_kind != kKeyText ? nullptr : lend(one, store_find(one.place, key));
  });
}

void *cmf_query_update(struct cmf_query *query) {
  return look_up("cmf_query_update", query, [](Query &one) -> void * {
    if (one.place.table->kind != TableKind::kSingle) {
      return nullptr;
    }
    const std::vector<uint32_t> numbers = store_numbers(one.place);
    return numbers.empty() ? nullptr : lend(one, store_load(one.place, numbers.front()));
  });
}

void *cmf_query_table_head(struct cmf_query *query) {
  return look_up("cmf_query_table_head", query, lend_first);
}

void *cmf_query_get_next(struct cmf_query *query) {
  return look_up("cmf_query_get_next", query, lend_next);
}

int32_t cmf_query_commit(struct cmf_query *query) {
  if (query == nullptr || query->found_key_number == 0) {
    return -1;
  }
  return guarded("cmf_query_commit", -1, [=] {
    const Query &one = *own(query);
    return store_change(one.lent_from, one.found_key_number, one.lent.data()) ? 0 : -1;
  });
}

int32_t cmf_query_table_append(struct cmf_query *query, const void *record) {
  if (query == nullptr || record == nullptr) {
    return -1;
  }
  return guarded("cmf_query_table_append", -1, [=] { return store_append(own(query)->place, record) ? 0 : -1; });
}
