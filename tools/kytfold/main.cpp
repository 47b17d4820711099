// kytfold: fold files with fixed or variable record length (insert CR/LF).
#include "fold/kytfold.h"

int main(int argc, char** argv) { return kyt::fold::kytfold_main(argc, argv); }
