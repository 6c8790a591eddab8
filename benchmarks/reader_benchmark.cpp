// The pieces of the reader, each on a realistic catalogue that lies in memory.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "runtime/hskcore/in_memory_namespace.h"
#include "runtime/hskcore/name_table.h"
#include "runtime/hskcore/namespace_writer.h"
#include "runtime/xmlparser/byte_scan.h"
#include "runtime/xmlparser/cim_builder.h"
#include "runtime/xmlparser/document_text.h"
#include "runtime/xmlparser/xml_reader.h"

namespace svc::xml {
namespace {

std::string Element(int number) {
  std::string text = "<VALUE.OBJECT>\n  <INSTANCE CLASSNAME=\"Update\">\n";
  for (const char* name : {"name", "description", "category", "installDirectory", "Version"})
    text += std::string("    <PROPERTY NAME=\"") + name + "\" TYPE=\"string\"><VALUE>" + name +
            "_" + std::to_string(number % 977) + "</VALUE></PROPERTY>\n";
  text +=
      "    <PROPERTY.ARRAY NAME=\"applicableMachineTypes\" TYPE=\"string\">\n      <VALUE.ARRAY>\n";
  for (int i = 0; i < 10; ++i)
    text += "        <VALUE>-[" + std::to_string(1000 + (number * 7 + i) % 160) + "]-</VALUE>\n";
  return text + "      </VALUE.ARRAY>\n    </PROPERTY.ARRAY>\n  </INSTANCE>\n</VALUE.OBJECT>\n";
}

std::string Catalogue(int elements) {
  std::string text =
      "<CIM><DECLARATION><DECLGROUP><VALUE.OBJECT><CLASS NAME=\"Update\"/></VALUE.OBJECT>\n";
  for (int i = 0; i < elements; ++i) text += Element(i);
  return text + "</DECLGROUP></DECLARATION></CIM>\n";
}

void CountBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void FindTextStops(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state)
    benchmark::DoNotOptimize(FindTextStop(text.data(), text.data() + text.size()));
  CountBytes(state, text.size());
}
BENCHMARK(FindTextStops)->Arg(8)->Arg(40)->Arg(300)->Arg(1 << 20);

void HashTexts(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) benchmark::DoNotOptimize(HashText(text, HashSeed()));
  CountBytes(state, text.size());
}
BENCHMARK(HashTexts)->Arg(8)->Arg(40)->Arg(300);

void ReadTokens(benchmark::State& state) {
  const std::string catalogue = Catalogue(2000);
  std::string copy = catalogue;
  for (auto _ : state) {
    TDocumentText text(copy.data(), copy.data() + copy.size());
    TXmlReader reader(text);
    while (reader.NextTag() != EToken::kFinished) {
    }
  }
  CountBytes(state, catalogue.size());
}
BENCHMARK(ReadTokens)->Unit(benchmark::kMillisecond);

void BuildObjects(benchmark::State& state) {
  std::string catalogue = Catalogue(2000);
  for (auto _ : state) {
    TDocumentText text(catalogue.data(), catalogue.data() + catalogue.size());
    TXmlReader reader(text);
    TNamespaceWriter writer(MakeInMemoryNamespace());
    TCimBuilder(reader, writer).Build(EDialect::kAny);
  }
  CountBytes(state, catalogue.size());
}
BENCHMARK(BuildObjects)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace svc::xml

BENCHMARK_MAIN();
