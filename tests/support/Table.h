#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "tests/support/Corpus.h"

namespace orvik::test {

using Parsers = std::map<std::string, std::function<JSONValue(std::string_view)>>;

/// Each row of this table of tests/fixtures has in JSON a parser, a text ("@" and the name of a
/// recording, read where there is one) and the result. Lines that begin with # are remarks.
inline void expectTable(const std::string& table, const Parsers& parsers) {
  int count = 0;
  for (const std::string& line : linesOf(table)) {
    ++count;
    const UntypedValue row = readJSON(line);
    const auto& cells = *row.get<UntypedValue::List>();
    std::string text = *cells[1].get<std::string>();
    if (text.starts_with('@')) {
#ifdef ORVIK_HAS_CORPUS
      const auto recording = corpus() / "recorded" / text.substr(1);
      ASSERT_TRUE(std::filesystem::exists(recording)) << recording;
      text = contentsOf(recording);
#else
      continue;
#endif
    }
    EXPECT_EQ(parsers.at(*cells[0].get<std::string>())(text).text(),
              JSONValue::any(cells[2]).text())
        << line;
  }
  EXPECT_GT(count, 8);
}

}  // namespace orvik::test
