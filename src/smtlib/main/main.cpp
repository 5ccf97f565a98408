#include "smtlib/program.h"

int main(int argc, char** argv) { return smtlib::run_program(argc, argv); }
