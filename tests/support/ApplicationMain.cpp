#include <gtest/gtest.h>

#include <QApplication>

/// For tests of the application: a program with Qt's event loop that needs no display.
int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(argc, argv);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
