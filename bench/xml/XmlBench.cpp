// Loading and saving XML through QmdbXml, timed with Google Benchmark on a
// generated document of about 2.3 MB (elements with attributes, text,
// references to a text entity, comments), into a nameless database.
#include <Qmdb/QmdbXml>

#include <benchmark/benchmark.h>

#include <sstream>
#include <string>

namespace {

std::string document() {
  std::string xml =
      "<?xml version=\"1.0\"?>\n<!DOCTYPE catalog [<!ENTITY co \"Qmdb &#169; "
      "2026\">]>\n<catalog>\n";
  for (int i = 0; i < 20000; ++i) {
    xml += "  <item id=\"i" + std::to_string(i) + "\" kind=\"" + (i % 3 == 0 ? "book" : "disc") +
           "\"><name>Item number " + std::to_string(i) +
           "</name><note>caf\xC3\xA9 &amp; cr\xC3\xA8me, &co;</note><!-- n --></item>\n";
  }
  return xml + "</catalog>\n";
}

const std::string& sample() {
  static const std::string xml = document();
  return xml;
}

void BM_Load(benchmark::State& state) {
  const std::string& xml = sample();
  for (auto _ : state) {
    Qmdb db;
    QmdbXml::Result result = QmdbXml::loadMemory(db, xml.data(), xml.size(), "bench.xml");
    if (!result) state.SkipWithError(result.message.c_str());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sample().size()));
}
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);

void BM_Save(benchmark::State& state) {
  const std::string& xml = sample();
  Qmdb db;
  QmdbXml::Result loaded = QmdbXml::loadMemory(db, xml.data(), xml.size(), "bench.xml");
  if (!loaded) state.SkipWithError(loaded.message.c_str());
  QmdbXml::SaveOptions options;
  options.encoding = state.range(0) == 0 ? "UTF-8" : "ISO-8859-1";
  for (auto _ : state) {
    std::ostringstream out;
    QmdbXml::Result result = QmdbXml::saveStream(db, out, options);
    if (!result) state.SkipWithError(result.message.c_str());
    benchmark::DoNotOptimize(out.str().size());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sample().size()));
}
BENCHMARK(BM_Save)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
