// Uses the library the way a client does: one header, one handle, one path.

#include <cstdio>

#include "Tree/Tree_Node.h"

int main() {
  Tree_NodePtr top(new Tree_Node("cfg"));
  Tree_Path where("net\\ports");
  Tree_NodePtr ports = top->GetOrCreateRelativeNode(where, top);
  Tree_NodePtr http(new Tree_Node("http", new Tree_Value("8080", 0)));
  ports->Add(http);

  RWCString path("net\\ports\\http");
  const RWCString value = top->GetValue(path, top);
  std::printf("%s = %s\n", http->GetPath().data(), value.data());
  return value == "8080" && http->GetPath() == "cfg\\net\\ports\\http" ? 0 : 1;
}
