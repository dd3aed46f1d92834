#include "Client.h"
#include "System.h"

int main(int argc, char** argv) {
  cfgtree::os::Prepare();
  cfgtree::os::Exit(cfgtree::RunClient(cfgtree::os::Arguments(argc, argv)));
}
