// Interning: what does it cost to turn a string into the one stored string that equals it?
//
// Every name and value that enters a tree is interned once; every name that is looked up
// is looked for.  An operation is one string.  The strings are different from each other,
// have 6 to 24 bytes and come in random order; their hashes have not been computed, since
// a string that was just read has none.
//
//   known   All strings are stored already, as nearly all are once a process has run for a
//           while.  Threads only read, so that two should take no longer than one.
//   new     None is stored: a process reads its first configuration.  With two threads,
//           each stores its own half.
//   find    The library's look-up by bytes, which navigation uses; it takes no string.
//
// Every thread, also a single one, is made for its round and makes its strings itself, before
// the clock starts: whoever interns a string has just read it.  Where the strings are few, a
// round goes over them several times, each time with strings made anew, or fills several stores:
// two threads need some milliseconds side by side to show what they do.
//
// The peer is what comes to mind first, a std::unordered_set behind a std::shared_mutex.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Zel/Zel_Flyweight.h"
#include "rw/RWCString.h"
#include "support/data.h"
#include "support/measure.h"

namespace bench {

namespace {

// The contestants.  Text is the string type of their clients.

// As the tree's own container: the same number of strings per buffer, and texts that stay
// until the process ends.  Filling many of them therefore makes the process grow.
class Flyweight {
 public:
  using Text = RWCString;
  static constexpr const char* kName = kOurs;

  const Text* Intern(const Text& text) { return m_container.GetValue(text, true); }
  const Text* Find(const char* bytes, std::size_t length) const {
    return m_container.Find(bytes, length);
  }
  static std::vector<Text> TextsOf(const std::vector<std::string>& texts) { return Fresh(texts); }

 private:
  Zel_FlyweightContainer<RWCString> m_container{
      true, 40000, Zel_FlyweightContainer<RWCString>::Texts::kPermanent};
};

class LockedSet {
 public:
  using Text = std::string;
  static constexpr const char* kName = "set+shared_mutex";

  const Text* Intern(const Text& text) {
    {
      const std::shared_lock<std::shared_mutex> guard(m_mutex);
      const auto found = m_set.find(text);
      if (found != m_set.end()) return &*found;
    }
    const std::unique_lock<std::shared_mutex> guard(m_mutex);
    return &*m_set.insert(text).first;
  }
  static std::vector<Text> TextsOf(const std::vector<std::string>& texts) { return texts; }

 private:
  std::shared_mutex m_mutex;
  std::unordered_set<std::string> m_set;
};

const std::vector<std::string>& Texts(std::size_t count) {
  static std::map<std::size_t, std::vector<std::string>> made;
  std::vector<std::string>& texts = made[count];
  if (texts.empty()) texts = DistinctNames(count, count);
  return texts;
}

// The part of `texts` that belongs to thread `i` of so many.
std::vector<std::string> PartOf(const std::vector<std::string>& texts, int i, int threads) {
  const auto border = [&](int part) {
    return texts.begin() +
           static_cast<std::ptrdiff_t>(texts.size() * static_cast<std::size_t>(part) /
                                       static_cast<std::size_t>(threads));
  };
  return {border(i), border(i + 1)};
}

// Each thread makes its part of the strings anew for every store, and interns one after the
// other.
template <class Store>
double InternOnThreads(const std::vector<Store*>& stores, std::size_t count, int threads) {
  const std::vector<std::string>& all = Texts(count);
  using Part = std::vector<typename Store::Text>;
  std::vector<std::vector<Part>> parts(static_cast<std::size_t>(threads));
  return OnThreads(
      threads,
      [&](int i) {
        const std::vector<std::string> own = PartOf(all, i, threads);
        for (std::size_t k = 0; k < stores.size(); ++k) {
          parts[static_cast<std::size_t>(i)].push_back(Store::TextsOf(own));
        }
      },
      [&](int i) {
        for (std::size_t k = 0; k < stores.size(); ++k) {
          for (const typename Store::Text& text : parts[static_cast<std::size_t>(i)][k]) {
            benchmark::DoNotOptimize(stores[k]->Intern(text));
          }
        }
      });
}

// Equal strings yield one stored string with their bytes, different ones different strings.
template <class Store>
void Check(Store& store, std::size_t count) {
  const std::vector<std::string>& texts = Texts(count);
  const std::vector<typename Store::Text> first = Store::TextsOf(texts);
  const std::vector<typename Store::Text> second = Store::TextsOf(texts);
  std::vector<const void*> stored;
  stored.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const typename Store::Text* const one = store.Intern(first[i]);
    Require(one != nullptr && one == store.Intern(second[i]), "equal strings stored twice");
    Require(texts[i].compare(0, texts[i].size(), one->data(), one->length()) == 0,
            "the stored string has other bytes");
    stored.push_back(one);
  }
  std::sort(stored.begin(), stored.end());
  Require(std::adjacent_find(stored.begin(), stored.end()) == stored.end(),
          "different strings are one");
}

// The container that stays filled with the known strings.
template <class Store>
Store& Filled(std::size_t count) {
  static std::map<std::size_t, std::unique_ptr<Store>> made;
  std::unique_ptr<Store>& store = made[count];
  if (store == nullptr) {
    store = std::make_unique<Store>();
    Check(*store, count);
  }
  return *store;
}

template <class Store>
double KnownRound(std::size_t count, std::size_t times, int threads) {
  return InternOnThreads(std::vector<Store*>(times, &Filled<Store>(count)), count, threads);
}

template <class Store>
double NewRound(std::size_t count, std::size_t times, int threads) {
  Filled<Store>(count);  // has checked the answers
  std::vector<std::unique_ptr<Store>> owned;
  std::vector<Store*> stores;
  for (std::size_t i = 0; i < times; ++i) {
    owned.push_back(std::make_unique<Store>());
    stores.push_back(owned.back().get());
  }
  return InternOnThreads(stores, count, threads);
}

double FindRound(std::size_t count) {
  const Flyweight& store = Filled<Flyweight>(count);
  const std::vector<std::string>& texts = Texts(count);
  Require(store.Find(texts[0].data(), texts[0].size()) != nullptr, "a stored string is missing");
  return Timed([&] {
    for (const std::string& text : texts) {
      benchmark::DoNotOptimize(store.Find(text.data(), text.size()));
    }
  });
}

// A round goes `times` times over `count` strings.
void Add(const char* operation, const char* contestant, std::size_t count, std::size_t times,
         int threads, std::size_t target, std::function<double()> round) {
  Register({.subject = "interning",
            .operation = operation,
            .variant = "strings:" + std::to_string(count),
            .threads = threads,
            .contestant = contestant,
            .operations = count * times,
            .rounds = RoundsFor(count * times, target),
            .round = std::move(round)});
}

template <class Store>
void RegisterStore(std::size_t count, std::size_t target) {
  const auto times = [count](std::size_t wanted) {
    return std::max<std::size_t>(1, wanted / count);
  };
  const std::size_t known = times(target);
  const std::size_t fresh = times(target / 5);
  for (const int threads : {1, 2}) {
    Add("known", Store::kName, count, known, threads, target,
        [=] { return KnownRound<Store>(count, known, threads); });
    Add("new", Store::kName, count, fresh, threads, target / 5,
        [=] { return NewRound<Store>(count, fresh, threads); });
  }
}

}  // namespace

void RegisterInterning(const Plan& plan) {
  const std::size_t target = plan.smoke ? 1 : plan.quick ? 200000 : 500000;
  std::vector<std::size_t> counts{10000, 100000, plan.quick ? 500000u : 2000000u};
  if (plan.smoke) counts = {1000};
  for (const std::size_t count : counts) {
    RegisterStore<Flyweight>(count, target);
    RegisterStore<LockedSet>(count, target);
    Add("find", kOurs, count, 1, 1, target, [count] { return FindRound(count); });
  }
}

}  // namespace bench
