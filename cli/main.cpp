#include "cli/program.h"
#include <iostream>

int main(int argc, char **argv) { return run_program(argc, argv, std::cin, std::cout, std::cerr); }
