// Texts that are put aside while a query runs and read again behind it: they may be many more than
// what they were made of. Used by one thread.
#ifndef SVCHECK_SESSION_TEXT_SPOOL_H_
#define SVCHECK_SESSION_TEXT_SPOOL_H_

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace svc {

// Few are kept in memory; what goes beyond that lies in a file without a name.
class TTextSpool {
 public:
  TTextSpool() = default;
  TTextSpool(const TTextSpool&) = delete;
  TTextSpool& operator=(const TTextSpool&) = delete;

  // Where there is no space it does nothing but keep the failure, since it is called from within
  // the query.
  void Add(std::string_view text);
  // Calls `use` with each in their order. Throws TError, also the failure that Add met.
  void ForEach(const std::function<void(std::string_view text)>& use) const;

 private:
  struct TClose {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };

  void PutAside();
  void ForEachInFile(const std::function<void(std::string_view text)>& use) const;

  std::string last;  // Each text behind its length.
  std::unique_ptr<std::FILE, TClose> file;
  std::size_t inFile = 0;  // Texts.
  std::string failure;
};

}  // namespace svc

#endif  // SVCHECK_SESSION_TEXT_SPOOL_H_
