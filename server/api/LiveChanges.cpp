#include "api/LiveChanges.h"

#include <algorithm>
#include <charconv>
#include <random>

namespace tolvana::server {

namespace {

constexpr std::size_t kKept = 4096;

std::string runId() {
  std::random_device random;
  char text[17];
  auto [end, error] = std::to_chars(text, text + 16, (std::uint64_t{random()} << 32) | random(), 16);
  return std::string(text, end);
}

// The sequence in a cursor of this run; nullopt for another run's or a malformed one.
std::optional<std::uint64_t> sequenceOf(const std::string& cursor, const std::string& run) {
  if (cursor.size() <= run.size() + 1 || !cursor.starts_with(run) || cursor[run.size()] != '.') return std::nullopt;
  std::uint64_t sequence = 0;
  const char* begin = cursor.data() + run.size() + 1;
  const char* end = cursor.data() + cursor.size();
  auto [stop, error] = std::from_chars(begin, end, sequence);
  if (error != std::errc() || stop != end) return std::nullopt;
  return sequence;
}

}  // namespace

LiveChanges::LiveChanges(int maxListeners) : maxListeners_(std::max(maxListeners, 1)), run_(runId()) {}

void LiveChanges::note(const std::string& project, const std::vector<Change>& changes) {
  if (changes.empty()) return;
  {
    std::lock_guard lock(mutex_);
    for (const Change& change : changes) {
      recent_.push_back({++sequence_, project, change});
      if (recent_.size() > kKept) recent_.pop_front();
    }
  }
  noted_.notify_all();
}

bool LiveChanges::collect(const std::string& project, std::uint64_t after, std::vector<Change>& out) const {
  if (after > sequence_) return false;
  if (!recent_.empty() && recent_.front().sequence > after + 1) return false;
  for (auto it = std::lower_bound(recent_.begin(), recent_.end(), after + 1,
                                  [](const Noted& n, std::uint64_t s) { return n.sequence < s; });
       it != recent_.end(); ++it) {
    if (it->project == project && std::find(out.begin(), out.end(), it->change) == out.end()) out.push_back(it->change);
  }
  return true;
}

std::string LiveChanges::cursorNow() const { return run_ + "." + std::to_string(sequence_); }

std::optional<LiveChanges::Heard> LiveChanges::wait(const std::string& project, const std::string& cursor,
                                                    std::chrono::milliseconds longest) {
  const auto deadline = std::chrono::steady_clock::now() + longest;
  std::unique_lock lock(mutex_);
  if (cursor.empty()) return Heard{cursorNow()};
  auto after = sequenceOf(cursor, run_);
  Heard heard{};
  if (!after || !collect(project, *after, heard.changes)) {
    heard.resync = true;
    heard.cursor = cursorNow();
    return heard;
  }
  if (!heard.changes.empty() || closed_) {
    heard.cursor = cursorNow();
    return heard;
  }
  if (listeners_ >= maxListeners_) return std::nullopt;
  ++listeners_;
  // Changes of other projects wake the waiter too; it looks again from where it left off. A
  // change noted as the time runs out is still looked for once more.
  std::uint64_t seen = sequence_;
  bool timedOut = false;
  while (!closed_ && !timedOut && heard.changes.empty()) {
    timedOut = noted_.wait_until(lock, deadline) == std::cv_status::timeout;
    if (!collect(project, seen, heard.changes)) {
      heard.resync = true;
      break;
    }
    seen = sequence_;
  }
  --listeners_;
  heard.cursor = cursorNow();
  return heard;
}

void LiveChanges::close() {
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
  }
  noted_.notify_all();
}

}  // namespace tolvana::server
