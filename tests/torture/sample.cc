#include "tests/torture/sample.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <utility>

namespace torture {
namespace {

using Names = std::map<std::string, size_t>;

// The strikes of one blow in one class of a protocol that are left.
struct Heap {
  std::string its_class, blow;
  std::vector<Strike> strikes;
};

std::vector<Heap> heaps_of(const std::vector<Strike> &all) {
  std::map<std::pair<std::string, std::string>, Heap> heaps;
  for (const Strike &strike : all) {
    Heap &heap = heaps[{strike.protocol + "/" + strike.site.call_class, strike.blow}];
    heap.its_class = strike.protocol + "/" + strike.site.call_class;
    heap.blow = strike.blow;
    heap.strikes.push_back(strike);
  }
  std::vector<Heap> out;
  for (auto &[name, heap] : heaps) {
    out.push_back(std::move(heap));
  }
  return out;
}

size_t least(const Names &names) {
  return std::min_element(names.begin(), names.end(), [](const auto &a, const auto &b) { return a.second < b.second; })
      ->second;
}

// How often each class and blow was drawn, of those that have strikes left, and in how many heaps it is.
struct Drawn {
  Names classes, blows;
  Names heaps_of_class, heaps_of_blow;
};

// What is behind goes first; of these, what has the fewest chances to come elsewhere.
using Rank = std::tuple<int, size_t, size_t>;

Rank rank_of(const Heap &heap, const Drawn &drawn, size_t least_of_classes, size_t least_of_blows) {
  const int ahead = (drawn.classes.at(heap.its_class) > least_of_classes ? 1 : 0) +
                    (drawn.blows.at(heap.blow) > least_of_blows ? 1 : 0);
  const size_t of_blow = drawn.heaps_of_blow.at(heap.blow), of_class = drawn.heaps_of_class.at(heap.its_class);
  return {ahead, std::min(of_blow, of_class), std::max(of_blow, of_class)};
}

// Forgets what has no strikes left.
Drawn renewed(const Drawn &before, const std::vector<Heap> &heaps) {
  Drawn out;
  const auto count = [](const Names &names, const std::string &name) {
    const auto found = names.find(name);
    return found != names.end() ? found->second : 0;
  };
  for (const Heap &heap : heaps) {
    out.classes[heap.its_class] = count(before.classes, heap.its_class);
    out.blows[heap.blow] = count(before.blows, heap.blow);
    out.heaps_of_class[heap.its_class] += 1;
    out.heaps_of_blow[heap.blow] += 1;
  }
  return out;
}

template <typename Items>
auto any_of(Items &items, std::mt19937 &random) {
  return items.begin() + static_cast<std::ptrdiff_t>(static_cast<size_t>(random()) % items.size());
}

size_t next_heap(const std::vector<Heap> &heaps, const Drawn &drawn, std::mt19937 &random) {
  const size_t least_of_classes = least(drawn.classes), least_of_blows = least(drawn.blows);
  std::vector<size_t> best;
  Rank best_rank;
  for (size_t i = 0; i < heaps.size(); ++i) {
    const Rank rank = rank_of(heaps[i], drawn, least_of_classes, least_of_blows);
    if (best.empty() || rank < best_rank) {
      best.clear();
      best_rank = rank;
    }
    if (rank == best_rank) {
      best.push_back(i);
    }
  }
  return *any_of(best, random);
}

}  // namespace

std::vector<Strike> sample(const std::vector<Strike> &all, size_t count, unsigned seed) {
  std::vector<Heap> heaps = heaps_of(all);
  Drawn drawn = renewed({}, heaps);
  std::mt19937 random(seed);
  std::vector<Strike> out;
  while (out.size() < count && !heaps.empty()) {
    const size_t at = next_heap(heaps, drawn, random);
    Heap &heap = heaps[at];
    const auto one = any_of(heap.strikes, random);
    drawn.classes[heap.its_class] += 1;
    drawn.blows[heap.blow] += 1;
    out.push_back(*one);
    heap.strikes.erase(one);
    if (heap.strikes.empty()) {
      heaps.erase(heaps.begin() + static_cast<std::ptrdiff_t>(at));
      drawn = renewed(drawn, heaps);
    }
  }
  return out;
}

}  // namespace torture
