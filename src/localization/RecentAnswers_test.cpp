#include "localization/RecentAnswers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace tolvana {
namespace {

// What a look-up does with the table: the kept answer, else the stores' (here made up) answer,
// kept when the table admits it. Whether the answer came from the table.
bool lookUp(const RecentAnswers::Stamp& stamp, const std::string& key) {
  RecentAnswers::Probe probe = RecentAnswers::find(stamp, key, std::nullopt);
  if (probe.kept) {
    EXPECT_EQ(probe.kept->text, "text of " + key);
    return true;
  }
  if (probe.admit) RecentAnswers::keep(stamp, key, std::nullopt, {.text = "text of " + key});
  return false;
}

// A walk over five times the keys the table holds must neither push out the texts a screen
// shows nor leave the table unread once the screen is shown again.
TEST(RecentAnswers, AWalkOverManyKeysLeavesTheScreensTextsKeptAndInUse) {
  const RecentAnswers::Stamp stamp{RecentAnswers::newOwner(), nullptr, 1, 1};
  const int screen = 50;
  for (int i = 0; i < screen; ++i) lookUp(stamp, "screen." + std::to_string(i));
  for (int i = 0; i < screen; ++i) EXPECT_TRUE(lookUp(stamp, "screen." + std::to_string(i))) << i;

  int fromTable = 0;
  for (int i = 0; i < 20000; ++i) fromTable += lookUp(stamp, "list." + std::to_string(i));
  EXPECT_EQ(fromTable, 0);

  // The first look-ups after the walk may find the table set aside; one of the first few reads
  // it again, and from then on every one is answered from it.
  int missedFirst = 0;
  while (missedFirst <= 16 && !lookUp(stamp, "screen.0")) ++missedFirst;
  EXPECT_LE(missedFirst, 16);
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < screen; ++i) EXPECT_TRUE(lookUp(stamp, "screen." + std::to_string(i))) << round << " " << i;
  }
}

// A repeated look-up is answered from the way last found without hashing its key: that way must
// still answer only its own key and default text. Keys of every length class differ from the kept
// one in a single byte, at each position.
TEST(RecentAnswers, APeekAnswersOnlyTheKeyAndDefaultTextThatWereKept) {
  const std::uint64_t owner = RecentAnswers::newOwner();
  const RecentAnswers::Stamp stamp = RecentAnswers::Stamp::of(owner);
  for (std::size_t size : {1, 7, 8, 9, 16, 17, 24, 40}) {
    std::string key(size, 'k');
    key.front() = 'a';
    RecentAnswers::find(stamp, key, std::nullopt);
    RecentAnswers::keep(stamp, key, std::nullopt, {.text = "kept"});
    RecentAnswers::confirm(stamp, INT64_MAX);
    const RecentAnswers::Entry* kept = RecentAnswers::peek(owner, key, std::nullopt);
    ASSERT_NE(kept, nullptr) << size;
    EXPECT_EQ(kept->text, "kept");
    EXPECT_EQ(RecentAnswers::peek(owner, key, "a default"), nullptr) << size;
    for (std::size_t at = 0; at < size; ++at) {
      std::string other = key;
      other[at] = 'x';
      EXPECT_EQ(RecentAnswers::peek(owner, other, std::nullopt), nullptr) << size << " " << at;
      ASSERT_NE(RecentAnswers::peek(owner, key, std::nullopt), nullptr) << size << " " << at;
    }
  }
  EXPECT_EQ(RecentAnswers::peek(RecentAnswers::newOwner(), std::string(40, 'k'), std::nullopt), nullptr);
}

}  // namespace
}  // namespace tolvana
