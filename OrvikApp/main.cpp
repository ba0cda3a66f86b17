#include "OrvikApp/Launcher.h"

int main(int argc, char** argv) { return orvik::Launcher::main(argc, argv); }
