/* The sample client samples/sendfile.c, built against the installed package as it is. */
#include "../../samples/sendfile.c"
