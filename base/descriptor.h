// An open file or folder of a POSIX system. One thread.
#ifndef BASE_DESCRIPTOR_H_
#define BASE_DESCRIPTOR_H_

#include <string>
#include <utility>

namespace svc::files {

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
  // Who calls closes it.
  int Release() { return std::exchange(number, -1); }
  // The name under which others in this process can open the same file.
  std::string Path() const;

 private:
  int number;
};

}  // namespace svc::files

#endif  // BASE_DESCRIPTOR_H_
