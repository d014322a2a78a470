// Allocations that fail. The functions of zan/memory.h that give memory are defined in this
// test's program too, where the libraries find them first: each asks whether it is to fail,
// and else goes on to the host's own.
#pragma once

// Lets the n-th allocation from now on fail, counted from 0, on whichever thread it is.
void fail_allocation(long n);
// All succeed again. True when one has failed since.
bool end_of_failures();
