#include "cli/program.h"

int main(int argc, char** argv) { return zorvel::cli::run_program(argc, argv); }
