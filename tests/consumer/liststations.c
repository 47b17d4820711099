/* The sample client of samples/, built and run as the installed package's users build it. */
#include "../../samples/liststations.c"
