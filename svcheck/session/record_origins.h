// Which update element each record of a query stems from, and the instances that a query reads. The
// records do not say it; what the query reads while it delivers them tells. Used by one thread.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/hskcore/cim.h"
#include "report/model.h"
#include "report/records.h"
#include "runtime/hskcore/in_memory_namespace.h"

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

// What the program itself reads of an inventory or a catalogue. Used by one thread.

// Reads a CIM-XML document in memory into the namespace; a catalogue's is refused where it is of an
// older dialect, as a query refuses it. Throws THSKException.
enum class EDocument { kInventory, kCatalogue };
void ParseDocument(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& target,
                   const std::string& document, EDocument kind = EDocument::kInventory);

// Every instance of a class, subclasses included, in order of creation; none when there is no such
// class.
std::vector<boost::shared_ptr<NQRXHSK20::ICIMInstance>> InstancesOf(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& source, std::string_view className);
// A property as text; empty when it is missing or null.
std::string TextOf(const NQRXHSK20::ICIMInstance& instance, std::string_view property);

// The machine of an inventory: the first that tells its type, or else the last. Its host name may
// be told by the operating system alone.
report::TMachine MachineIn(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);
// From here on the inventory's machine is of this type. Throws THSKException.
void SetMachineType(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory,
                    const std::string& type);
// Its operating system.
report::TOperatingSystem SystemIn(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);
// The code by which catalogues know the system of an inventory, empty where they have none. None
// for an inventory whose system cannot be read, which ends a query.
std::optional<std::string> SystemCodeIn(
    const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);
// Why it has no machine type, and what to do, in a sentence.
std::string WhyNoMachineType(const boost::shared_ptr<NQRXHSK20::ICIMNamespace>& inventory);

// Seconds since 1970 at which a file was written; none when it cannot be told.
std::optional<std::int64_t> TimeOf(const std::filesystem::path& file);
// What is to be said of a catalogue's folder without reading it.
report::TCatalogue CatalogueIn(const std::filesystem::path& folder);

}  // namespace svc
