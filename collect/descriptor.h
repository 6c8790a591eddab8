// An open file or folder. One thread.
#ifndef COLLECT_DESCRIPTOR_H_
#define COLLECT_DESCRIPTOR_H_

#include <string>
#include <utility>

namespace svc::collect {

// Closed with its holder.
class TDescriptor {
 public:
  explicit TDescriptor(int number = -1) : number(number) {}
  TDescriptor(TDescriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  TDescriptor& operator=(TDescriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  ~TDescriptor();

  int Get() const { return number; }
  explicit operator bool() const { return number >= 0; }
  // The name under which others in this process can open the same file.
  std::string Path() const;

 private:
  int number;
};

}  // namespace svc::collect

#endif  // COLLECT_DESCRIPTOR_H_
