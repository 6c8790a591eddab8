// Which update element each record of a query stems from. The records do not say it; what the query
// reads while it delivers them tells. Used by one thread.
#ifndef SVCHECK_SESSION_RECORD_ORIGINS_H_
#define SVCHECK_SESSION_RECORD_ORIGINS_H_

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/records.h"
#include "runtime/hskcore/namespace_watch.h"

namespace svc {

// Knows the order in which a query works: it reads of an element what it needs and delivers the
// records of its firmware before it reads of the next; the driver files of all that offer drivers
// come behind that, and the records of drivers last, list by list.
class TRecordOrigins {
 public:
  // What a query reads of its catalogue and of its inventory goes through these two. They hand
  // everything on to `next`, which may be null and is borrowed.
  class TCatalogueReads : public IReadObserver {
   public:
    TCatalogueReads(TRecordOrigins& origins, IReadObserver* next) : origins(origins), next(next) {}
    void OnGetClass(std::string_view className) override;
    void OnGetProperty(const NQRXHSK20::ICIMInstance& element, std::string_view name) override;

   private:
    TRecordOrigins& origins;
    IReadObserver* next;
  };
  class TInventoryReads : public IReadObserver {
   public:
    TInventoryReads(TRecordOrigins& origins, IReadObserver* next) : origins(origins), next(next) {}
    void OnGetClass(std::string_view className) override;
    void OnGetProperty(const NQRXHSK20::ICIMInstance& instance, std::string_view name) override;

   private:
    TRecordOrigins& origins;
    IReadObserver* next;
  };

  // A document of a catalogue, by the name that a person knows it by and as the system has it.
  struct TDocument {
    std::string name;
    std::string native;
  };
  // The same records, each with its update element. The catalogue is the namespace that was read,
  // `documents` are those that it was read from, in their order. A record whose element or place
  // cannot be told has none. REQUIRES: the query has ended.
  std::shared_ptr<const report::IRecordSource> With(
      const std::shared_ptr<const report::IRecordSource>& records,
      const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& catalogue,
      const std::vector<TDocument>& documents) const;

  // The records from `first` on, up to those of the next stretch, stem from the element; null for
  // one that cannot be told.
  struct TStretch {
    std::size_t first;
    const NQRXHSK20::ICIMInstance* element;
  };

 private:
  void ReadElement(const NQRXHSK20::ICIMInstance& element, std::string_view property);
  void CountRecord();

  const NQRXHSK20::ICIMInstance* current = nullptr;  // The element that was read last.
  bool isForSystem = false;                          // Its systems were what was read.
  std::size_t records = 0;                           // Of firmware and of drivers.
  std::size_t firmwareRecords = 0;
  std::vector<TStretch> firmware;
  std::vector<const NQRXHSK20::ICIMInstance*> offering;  // Those whose driver files are compared.
};

}  // namespace svc

#endif  // SVCHECK_SESSION_RECORD_ORIGINS_H_
