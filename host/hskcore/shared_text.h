// Texts that are shared instead of copied.
#ifndef HOST_HSKCORE_SHARED_TEXT_H_
#define HOST_HSKCORE_SHARED_TEXT_H_

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace NQRXHSK20 {

// A text, or a part of one, and a count on what keeps its bytes: copies and parts take no memory in
// proportion to their length. Immutable; copies may be used from several threads.
class TSharedText {
 public:
  TSharedText() = default;
  TSharedText(std::string own) {  // NOLINT(google-explicit-constructor): a text is a text
    if (own.empty()) return;
    const auto kept = boost::make_shared<const std::string>(std::move(own));
    text = *kept;
    owner = kept;
  }
  TSharedText(const char* own)  // NOLINT(google-explicit-constructor)
      : TSharedText(std::string(own)) {}
  // Shares the bytes of somebody who keeps them anyway. REQUIRES: the owner keeps them, unchanged.
  TSharedText(boost::shared_ptr<const void> owner, std::string_view text)
      : owner(std::move(owner)), text(text), isShared(true) {}

  // REQUIRES: a view of this text.
  TSharedText Part(std::string_view part) const {
    TSharedText result(*this);
    result.text = part;
    return result;
  }

  std::string_view View() const noexcept { return text; }
  operator std::string_view() const noexcept {
    return text;
  }  // NOLINT(google-explicit-constructor)
  bool empty() const noexcept { return text.empty(); }
  std::size_t size() const noexcept { return text.size(); }
  // Whether the bytes are somebody else's, so that to keep this text takes no memory for them.
  bool IsShared() const noexcept { return isShared; }
  const boost::shared_ptr<const void>& Owner() const noexcept { return owner; }

  // By their bytes.
  friend bool operator==(const TSharedText& left, const TSharedText& right) noexcept {
    return left.text == right.text;
  }
  template <typename T>
  requires(!std::is_same_v<T, TSharedText> &&
           std::is_convertible_v<const T&, std::string_view>) friend bool
  operator==(const TSharedText& left, const T& right) noexcept {
    return left.text == std::string_view(right);
  }

 private:
  boost::shared_ptr<const void> owner;
  std::string_view text;
  bool isShared = false;
};

}  // namespace NQRXHSK20

#endif  // HOST_HSKCORE_SHARED_TEXT_H_
