// whileAlive: the one shape of a task or callback that outlives the call that made it.
//
// The returned function takes a strong reference from the weak owner once, keeps it for its
// whole run and only then does its work, so another thread that lets the owner go meanwhile
// cannot free what the work uses. A check that lets the reference go before the work
// (`if (!owner.lock()) return;`) leaves exactly that window open.
//
//   queue.async(whileAlive(owner, [this] { draw(); }));          // a part of the owner
//   auto hmac = whileAlive(engine, [](TLInternal& e, std::string_view m) { return e.generateHmac(m); });
//
// With a typed owner the work gets the owner itself as its first argument, so it needs no raw
// pointer to it. When the owner is gone, the work does not run: the function calls the given
// fall-back with the same arguments, else answers a value-initialised result.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace tolvana {

template <class Owner, class Work, class Otherwise = std::nullptr_t>
auto whileAlive(std::weak_ptr<Owner> owner, Work work, Otherwise otherwise = nullptr) {
  return [owner = std::move(owner), work = std::move(work), otherwise = std::move(otherwise)](auto&&... args) {
    auto alive = owner.lock();
    if constexpr (std::is_void_v<Owner>) {
      using Result = std::invoke_result_t<const Work&, decltype(args)...>;
      if (alive) return work(std::forward<decltype(args)>(args)...);
      if constexpr (std::is_null_pointer_v<Otherwise>) return Result();
      else return static_cast<Result>(otherwise(std::forward<decltype(args)>(args)...));
    } else {
      using Result = std::invoke_result_t<const Work&, Owner&, decltype(args)...>;
      if (alive) return work(*alive, std::forward<decltype(args)>(args)...);
      if constexpr (std::is_null_pointer_v<Otherwise>) return Result();
      else return static_cast<Result>(otherwise(std::forward<decltype(args)>(args)...));
    }
  };
}

}  // namespace tolvana
