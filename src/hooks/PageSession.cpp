#include "hooks/PageSession.h"

#include <algorithm>
#include <map>

#include "config/TLSettings.h"
#include "support/TLLog.h"
#include "tolvana/TLJSBridge.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// The bytes of the message's texts, keys and numbers, counted only as far as the limit.
std::size_t sizeUpTo(const Value& value, std::size_t limit) {
  if (value.isString()) return value.asString().size();
  std::size_t size = 8;
  if (value.isArray()) {
    for (const Value& item : value.asArray()) {
      if ((size += sizeUpTo(item, limit - std::min(size, limit))) > limit) break;
    }
  } else if (value.isDictionary()) {
    for (const auto& [key, item] : value.asDictionary()) {
      if ((size += key.size() + sizeUpTo(item, limit - std::min(size, limit))) > limit) break;
    }
  }
  return size;
}

bool originMayUseTheBridge(const std::string& origin) {
  auto allowed = TLSettings::webViewOrigins();
  return allowed.empty() || std::find(allowed.begin(), allowed.end(), origin) != allowed.end();
}

}  // namespace

std::shared_ptr<PageSession> PageSession::of(const std::shared_ptr<WebView>& view) {
  // Never destroyed: pages may still post while the process exits.
  static auto* mutex = new Mutex;
  static auto* sessions = new std::map<std::weak_ptr<WebView>, std::shared_ptr<PageSession>, std::owner_less<>>;
  LockGuard lock(*mutex);
  if (auto found = sessions->find(view); found != sessions->end()) return found->second;
  std::erase_if(*sessions, [](const auto& entry) { return entry.first.expired(); });
  auto session = std::make_shared<PageSession>(Platform::Current().dispatch().makeSerialQueue("tolvana.page"));
  sessions->emplace(view, session);
  return session;
}

PageSession::PageSession(std::shared_ptr<SerialQueue> queue)
    : queue_(std::move(queue)), tokens_(TLJSBridge::kMessageBurst), refilled_(Platform::Current().clock().monotonicNow()) {}

bool PageSession::admit(const Value& body, const WebView::Document& from) {
  if (!originMayUseTheBridge(from.origin)) return refuse("its origin may not use the bridge", from);
  if (sizeUpTo(body, TLJSBridge::kMaxMessageBytes) > TLJSBridge::kMaxMessageBytes) {
    return refuse("it is larger than the bridge takes", from);
  }
  bool admitted = false;
  {
    LockGuard lock(mutex_);
    const auto now = Platform::Current().clock().monotonicNow();
    const double seconds = std::chrono::duration<double>(now - refilled_).count();
    tokens_ = std::min<double>(TLJSBridge::kMessageBurst, tokens_ + seconds * TLJSBridge::kMessagesPerSecond);
    refilled_ = now;
    if (tokens_ >= 1) {
      tokens_ -= 1;
      refusing_ = false;
      admitted = true;
    }
  }
  return admitted || refuse("its pages post faster than the bridge serves", from);
}

bool PageSession::refuse(std::string_view why, const WebView::Document& from) {
  LockGuard lock(mutex_);
  if (!refusing_) logError("Page message from %@ dropped: %@ (further ones are dropped silently).", from.origin, why);
  refusing_ = true;
  return false;
}

bool PageSession::beginUpdate() {
  LockGuard lock(mutex_);
  if (updating_) return false;
  updating_ = true;
  return true;
}

void PageSession::endUpdate() {
  LockGuard lock(mutex_);
  updating_ = false;
}

}  // namespace tolvana
