// The in-memory namespace alone: writing instances like those of a catalogue, and reading them the
// way a query does.
#include <benchmark/benchmark.h>

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "host/hskcore/cim.h"
#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/namespace_writer.h"

namespace {

using NQRXHSK20::ECIMType;
using NQRXHSK20::ICIMClass;
using NQRXHSK20::ICIMInstance;
using NQRXHSK20::ICIMNamespace;
using NQRXHSK20::ICIMProperty;
using NQRXHSK20::TAddToVectorCallback;
using svc::TNamespaceWriter;

constexpr const char* kClass = "QRXPSG_SystemUpdateElement";

// An update element of some 3.8 KB of XML: own texts, and lists that many elements share.
struct TElement {
  std::vector<std::pair<std::string, std::string>> texts;
  std::vector<std::pair<std::string, std::vector<std::string>>> lists;
};

TElement MakeElement(int number) {
  const std::string id = std::to_string(number);
  TElement element;
  element.texts = {{"name", "Flash update " + id},
                   {"description", std::string(400, 'd') + id},
                   {"category", "Diagnostics"},
                   {"installDirectory", "C:\\updates\\" + id},
                   {"Version", "1." + std::to_string(number % 97)},
                   {"BuildNumber", "YUOO" + std::to_string(number % 991)}};
  std::vector<std::string> machines;
  for (int i = 0; i < 40; ++i) {
    machines.push_back(std::to_string(4000 + (number % 300) + i * 7));
  }
  std::vector<std::string> systems;
  for (int i = 0; i < 20; ++i) {
    systems.push_back("Operating system " + std::to_string(i));
  }
  element.lists = {{"driverFiles", {"driver" + id + ".sys", "driver" + id + ".inf"}},
                   {"applicableMachineTypes", machines},
                   {"applicableOperatingSystems", systems}};
  return element;
}

std::vector<TElement> MakeElements(int count) {
  std::vector<TElement> elements;
  for (int i = 0; i < count; ++i) {
    elements.push_back(MakeElement(i));
  }
  return elements;
}

void WriteElement(TNamespaceWriter& writer, const TElement& element) {
  writer.BeginInstance(kClass);
  for (const auto& [name, text] : element.texts) {
    writer.WriteValue(name, ECIMType::kString, text);
  }
  for (const auto& [name, list] : element.lists) {
    writer.BeginArray(name, ECIMType::kString);
    for (const std::string& text : list) {
      writer.AddElement(text);
    }
    writer.EndArray();
  }
  writer.Finish();
}

boost::shared_ptr<ICIMNamespace> WriteAll(const std::vector<TElement>& elements) {
  const boost::shared_ptr<ICIMNamespace> space = svc::MakeInMemoryNamespace();
  TNamespaceWriter writer(space);
  writer.BeginClass(kClass, "");
  writer.Finish();
  for (const TElement& element : elements) {
    WriteElement(writer, element);
  }
  return space;
}

boost::shared_ptr<ICIMClass> ElementClass(const boost::shared_ptr<ICIMNamespace>& space) {
  boost::shared_ptr<ICIMClass> found;
  space->GetClass(found, kClass, {});
  return found;
}

std::vector<boost::shared_ptr<ICIMInstance>> Enumerate(
    const boost::shared_ptr<ICIMNamespace>& space) {
  std::vector<boost::shared_ptr<ICIMInstance>> found;
  ElementClass(space)->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(found), true, {});
  return found;
}

void WriteInstances(benchmark::State& state) {
  const auto elements = MakeElements(static_cast<int>(state.range(0)));
  for (auto step : state) {
    benchmark::DoNotOptimize(WriteAll(elements));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(WriteInstances)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void EnumerateInstances(benchmark::State& state) {
  const auto space = WriteAll(MakeElements(static_cast<int>(state.range(0))));
  for (auto step : state) {
    benchmark::DoNotOptimize(Enumerate(space));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(EnumerateInstances)->Arg(10000)->Unit(benchmark::kMicrosecond);

void ReadProperty(benchmark::State& state, const char* name) {
  const auto space = WriteAll(MakeElements(10000));
  const auto instances = Enumerate(space);
  for (auto step : state) {
    for (const auto& instance : instances) {
      boost::shared_ptr<ICIMProperty> property;
      instance->GetProperty(property, name, {});
      benchmark::DoNotOptimize(property->Value({}).IsNull());
    }
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK_CAPTURE(ReadProperty, OfOwnText, "description")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(ReadProperty, OfSharedText, "category")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(ReadProperty, OfSharedList, "applicableMachineTypes")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(ReadProperty, OfOwnList, "driverFiles")->Unit(benchmark::kMicrosecond);

void StoreRecord(benchmark::State& state) {
  const auto space = WriteAll({});
  const auto recordClass = ElementClass(space);
  for (auto step : state) {
    boost::shared_ptr<ICIMInstance> record;
    recordClass->CreateInstance(record, {});
    for (const char* name : {"Type", "Name", "InstalledVersion", "SVVersion"}) {
      record->SetPropertyValue(name, std::string("Firmware"), {});
    }
    record->Commit({});
  }
}
BENCHMARK(StoreRecord);

}  // namespace
