#include "blackboxlog/blackbox_writer.hpp"

/// Writes a log whose samples have variables of an unknown type around their index: odd_log FILE
int main(int /*argc*/, char** argv) {
  const auto type = static_cast<tlm_var_type>(42);
  blackboxlog::BlackboxWriter writer;
  writer.open(argv[1], {});
  const int id =
      writer.addSection("odd", {{"a", type, 2, 3}, {"index", TLM_VAR_UINT8, 1, 1}, {"b", type, 1, 1}});
  for (const char* values : {"aaabbb\1c", "aaabbb\3c"})
    writer.sample(static_cast<unsigned int>(id), {}, values, 8);
  return writer.close();
}
