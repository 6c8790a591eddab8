// Reads JSON of others (RFC 8259): what says little, such as millions of empty lists, takes no
// memory or time out of proportion. Used by one thread.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error.h"

namespace svc {

// What is taken. A value is anything that takes memory: a name, a text, a number, an object or a
// list, whose ends count too.
struct TJsonBounds {
  std::size_t levels;
  std::size_t values;
  // Of one object. Where members keep their order each is looked for among all before it.
  std::size_t members = std::numeric_limits<std::size_t>::max();
};

// So many values that they take a few times the bytes of their document, and a fixed amount that is
// more than enough for a small one.
constexpr std::size_t ValuesInProportion(std::size_t bytes) { return bytes / 16 + 200'000; }

// TJson is an instance of nlohmann::basic_json.
template <typename TJson>
class TBoundedJson : private nlohmann::json_sax<TJson> {
 public:
  // Borrows `counted`, the values read so far, to which it adds: a caller who reads several
  // documents with one number has one bound for all of them.
  TBoundedJson(const TJsonBounds& bounds, std::size_t& counted)
      : bounds(bounds), counted(counted) {}

  // Where that member of the document is a list, hands over each item as soon as it is read, and
  // forgets it, its values too: the document has an empty list there. `begin` is called where such
  // a list begins, for of two members of the name the last one counts. What `take` throws is kept,
  // so that what the rest of the document says can be judged before, and no more of the list is
  // handed over. REQUIRES: nothing was read.
  using TBegin = std::function<void()>;
  using TTake = std::function<void(const TJson& item)>;
  void TakeItems(std::string member, TBegin begin, TTake take) {
    taken = {std::move(member), std::move(begin), std::move(take)};
  }

  // Throws what `take` threw, if it did.
  void CheckItems() const {
    if (failure) std::rethrow_exception(failure);
  }

  // Throws TError for more than is taken, nlohmann's exception for what is no JSON.
  TJson Read(std::string_view text) {
    nlohmann::json_sax<TJson>* const reader = this;
    TJson::sax_parse(text, reader);
    return std::move(root);
  }

 private:
  using typename nlohmann::json_sax<TJson>::number_integer_t;
  using typename nlohmann::json_sax<TJson>::number_unsigned_t;
  using typename nlohmann::json_sax<TJson>::number_float_t;
  using typename nlohmann::json_sax<TJson>::string_t;
  using typename nlohmann::json_sax<TJson>::binary_t;

  struct TTaken {
    std::string member;
    TBegin begin;
    TTake take;
  };

  bool null() override { return AddLeaf(nullptr); }
  bool boolean(bool value) override { return AddLeaf(value); }
  bool number_integer(number_integer_t value) override { return AddLeaf(value); }
  bool number_unsigned(number_unsigned_t value) override { return AddLeaf(value); }
  bool number_float(number_float_t value, const string_t& /*text*/) override {
    return AddLeaf(value);
  }
  bool string(string_t& value) override { return AddLeaf(std::move(value)); }
  bool binary(binary_t& value) override { return AddLeaf(std::move(value)); }
  bool start_object(std::size_t /*size*/) override { return Open(TJson::object()); }
  bool start_array(std::size_t /*size*/) override {
    const bool isTaken = open.size() == 1 && root.is_object() && taken.take && name == taken.member;
    if (isTaken) {
      taken.begin();
      failure = nullptr;
      beforeItem = counted + 1;
    }
    isTaking = isTaking || isTaken;
    return Open(TJson::array());
  }
  bool key(string_t& text) override {
    Count(open.size());
    TJson& object = *open.back();
    member = &object[text];
    if (object.size() > bounds.members) throw TError("it has an object of too many members");
    if (open.size() == 1) name = std::move(text);
    return true;
  }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }
  bool parse_error(std::size_t /*at*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    throw nlohmann::detail::exception(error);
  }

  void Count(std::size_t level) {
    if (level >= bounds.levels) throw TError("it is nested too deeply");
    if (++counted > bounds.values) throw TError("it has too many values");
  }

  TJson& Add(TJson&& value) {
    Count(open.size());
    if (open.empty()) return root = std::move(value);
    TJson& holder = *open.back();
    if (!holder.is_array()) return *member = std::move(value);
    holder.push_back(std::move(value));
    return holder.back();
  }
  bool AddLeaf(TJson&& value) {
    Add(std::move(value));
    TakeItem();
    return true;
  }
  bool Open(TJson&& value) {
    TJson& added = Add(std::move(value));
    open.push_back(&added);
    return true;
  }
  bool Close() {
    open.pop_back();
    Count(open.size());
    isTaking = isTaking && open.size() > 1;
    TakeItem();
    return true;
  }

  // Behind a value: whether it is an item of the list that is taken.
  void TakeItem() {
    if (!isTaking || open.size() != 2) return;
    auto& items = open.back()->template get_ref<typename TJson::array_t&>();
    if (!failure) Take(items.back());
    items.clear();
    counted = beforeItem;
  }

  void Take(const TJson& item) {
    try {
      taken.take(item);
    } catch (...) {
      failure = std::current_exception();
    }
  }

  const TJsonBounds bounds;
  std::size_t& counted;
  TTaken taken;
  TJson root;
  std::vector<TJson*> open;  // The objects and lists that have begun, the outermost first.
  TJson* member = nullptr;   // Whose value comes next, in an object.
  std::string name;          // Of the document's own member that is read.
  bool isTaking = false;     // Within the list whose items are taken.
  std::size_t beforeItem = 0;
  std::exception_ptr failure;
};

}  // namespace svc
