#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

namespace orvik::test {

/// Carries out the scenarios of a file of tests/fixtures, each in a world of its own. Begins one
/// with "== NAME"; every other line is an action, which `World::perform` carries out, and behind
/// " -> " what that answers. Lines that begin with # are remarks. Gives the number of actions.
template <typename World>
int expectScenarios(const std::string& file) {
  std::ifstream scenarios(ORVIK_FIXTURES "/" + file);
  std::unique_ptr<World> world;
  std::string name;
  int actions = 0;
  for (std::string line; std::getline(scenarios, line);) {
    if (line.starts_with("== ")) {
      world.reset();
      world = std::make_unique<World>();
      name = line.substr(3);
    } else if (world && !line.empty() && line[0] != '#') {
      const std::size_t arrow = line.find(" -> ");
      std::string action = line.substr(0, arrow);
      action.erase(action.find_last_not_of(' ') + 1);
      const std::string expected = arrow == std::string::npos ? "" : line.substr(arrow + 4);
      EXPECT_EQ(world->perform(action), expected) << name << ": " << action;
      ++actions;
    }
  }
  return actions;
}

}  // namespace orvik::test
