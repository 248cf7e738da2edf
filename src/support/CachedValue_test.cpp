#include "support/CachedValue.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tolvana {
namespace {

// The flag's lock-free form must keep the general form's rules, so both run the same cases.
template <class T>
struct Values;
template <>
struct Values<bool> {
  static bool first() { return true; }
  static bool second() { return false; }
};
template <>
struct Values<std::string> {
  static std::string first() { return "de-AT"; }
  static std::string second() { return "fr"; }
};

template <class T>
class CachedValueTest : public ::testing::Test {};
using Types = ::testing::Types<bool, std::string>;
TYPED_TEST_SUITE(CachedValueTest, Types);

TYPED_TEST(CachedValueTest, ComputesOnceAndKeepsWhatIsSetUntilCleared) {
  using V = Values<TypeParam>;
  CachedValue<TypeParam> cached;
  int computations = 0;
  auto first = [&] { ++computations; return V::first(); };
  EXPECT_EQ(cached.get(first), V::first());
  EXPECT_EQ(cached.get(first), V::first());
  EXPECT_EQ(computations, 1);

  cached.set(V::second());
  EXPECT_EQ(cached.get(first), V::second());
  cached.clear();
  EXPECT_EQ(cached.get(first), V::first());
  EXPECT_EQ(computations, 2);
}

TYPED_TEST(CachedValueTest, AResultComputedBeforeAClearIsReturnedButNotKept) {
  using V = Values<TypeParam>;
  CachedValue<TypeParam> cached;
  EXPECT_EQ(cached.get([&] { cached.clear(); return V::first(); }), V::first());
  EXPECT_EQ(cached.get([] { return V::second(); }), V::second());

  CachedValue<TypeParam> replaced;
  EXPECT_EQ(replaced.get([&] { replaced.set(V::second()); return V::first(); }), V::first());
  EXPECT_EQ(replaced.get([] { return V::first(); }), V::second());
}

TYPED_TEST(CachedValueTest, EveryThreadAndEveryCacheSeesTheLatestReplacement) {
  using V = Values<TypeParam>;
  auto first = [] { return V::first(); };
  std::optional<CachedValue<TypeParam>> one;
  one.emplace();
  CachedValue<TypeParam> other;
  other.set(V::second());
  EXPECT_EQ(one->get(first), V::first());
  EXPECT_EQ(other.get(first), V::second());
  std::thread([&] { EXPECT_EQ(one->get(first), V::first()); }).join();
  one->set(V::second());
  EXPECT_EQ(one->get(first), V::second());
  std::thread([&] { EXPECT_EQ(one->get(first), V::second()); }).join();
  // A cache made where another one was must not answer with the other's value.
  one.reset();
  one.emplace();
  EXPECT_EQ(one->get(first), V::first());
}

TYPED_TEST(CachedValueTest, ReadersRacingAWriterSeeOnlyValuesThatWereEverThere) {
  using V = Values<TypeParam>;
  CachedValue<TypeParam> cached;
  std::vector<std::thread> readers;
  std::atomic<int> strange{0};
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        TypeParam seen = cached.get([] { return V::first(); });
        if (seen != V::first() && seen != V::second()) ++strange;
      }
    });
  }
  for (int i = 0; i < 2000; ++i) i % 2 ? cached.set(V::second()) : cached.clear();
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(strange, 0);
}

}  // namespace
}  // namespace tolvana
