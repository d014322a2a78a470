// The loops of linear algebra as any processor of the family runs them.
#define VOKRA_ISA plain
#include "calc/vok.la.kernels.cpp"
