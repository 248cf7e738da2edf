#include "localization/RecentAnswers.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace tolvana
