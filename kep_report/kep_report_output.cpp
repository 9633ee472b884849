#include "kep_report/kep_report_output.h"

#include <array>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace KEP_REPORT {
namespace {

// Flushed each time: a line that was ended is out, whatever becomes of the process.
void write_to_process(STREAM stream, std::string_view text) {
  std::FILE* file = stream == STREAM::ERR || stream == STREAM::WARN ? stderr : stdout;
  std::fwrite(text.data(), 1, text.size(), file);
  std::fflush(file);
}

std::shared_ptr<const SINK> make_sink(STREAM stream, SINK sink) {
  if (!sink) sink = [stream](std::string_view text) { write_to_process(stream, text); };
  return std::make_shared<const SINK>(std::move(sink));
}

struct OUTPUT {
  std::shared_ptr<const SINK> m_sink;
  bool m_in_sink = false;
};

class OUTPUTS {
public:
  OUTPUTS() {
    for (std::size_t i = 0; i < m_outputs.size(); ++i)
      m_outputs[i].m_sink = make_sink(static_cast<STREAM>(i), {});
  }

  void deliver(STREAM stream, std::string_view text) {
    std::lock_guard lock(m_mutex);
    OUTPUT& output = m_outputs[static_cast<std::size_t>(stream)];
    if (output.m_in_sink) return write_to_process(stream, text);
    auto sink = output.m_sink; // the sink may replace itself while it runs
    output.m_in_sink = true;
    try {
      (*sink)(text);
    } catch (...) {
      write_to_process(stream, text);
    }
    output.m_in_sink = false;
  }

  SINK set_sink(STREAM stream, SINK sink) {
    auto exchanged = make_sink(stream, std::move(sink));
    {
      std::lock_guard lock(m_mutex);
      m_outputs[static_cast<std::size_t>(stream)].m_sink.swap(exchanged);
    }
    return *exchanged;
  }

private:
  std::recursive_mutex m_mutex; // recursive: a sink may write to another stream
  std::array<OUTPUT, NUM_STREAMS> m_outputs;
};

// Never destroyed: destructors of static objects may still report.
OUTPUTS& get_outputs() {
  static OUTPUTS& outputs = *new OUTPUTS;
  return outputs;
}

} // namespace

void deliver(STREAM stream, std::string_view text) {
  get_outputs().deliver(stream, text);
}

SINK set_sink(STREAM stream, SINK sink) {
  return get_outputs().set_sink(stream, std::move(sink));
}

} // namespace KEP_REPORT
