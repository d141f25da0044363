// Prints the reference page of all operations.
#include <iostream>

#include "framework/operation_reference.h"

int main() {
    std::cout << wsadmin::operationReference();
    return std::cout.flush() ? 0 : 1;
}
