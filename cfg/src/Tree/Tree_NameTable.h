#ifndef TREE_TREE_NAMETABLE_H
#define TREE_TREE_NAMETABLE_H

#include <cstddef>
#include <vector>

#include "Tree/Tree_AddressHash.h"
#include "Tree/Tree_Prefetch.h"
#include "rw/RWCString.h"

// A hash table by names, which are interned, so that a name is a pointer.  It uses open
// addressing and is at most two thirds full.
//
// A Cell is what the table holds of a name; its member `name` is null in an empty one.
// References to cells are valid until the next Add() or Erase().
//
// Errors: std::bad_alloc leaves the table as it was.
template <class Cell>
class Tree_NameTable {
 public:
  // To be called before all else: room for so many names.
  void MakeRoom(std::size_t names) {
    std::size_t cells = 16;
    m_shift = 60;
    for (; cells * 2 < names * 3; cells *= 2) --m_shift;
    m_cells.resize(cells);
  }

  // The cell of `name`, or the empty one where it would have to go.
  const Cell& CellOf(const RWCString* name) const {
    std::size_t at = Home(name);
    while (m_cells[at].name != nullptr && m_cells[at].name != name) at = Next(at);
    return m_cells[at];
  }
  Cell& CellOf(const RWCString* name) {
    return const_cast<Cell&>(static_cast<const Tree_NameTable*>(this)->CellOf(name));
  }

  // Adds a cell for a name that has none.
  void Add(const Cell& cell) {
    if ((m_used + 1) * 3 > m_cells.size() * 2) Grow();
    CellOf(cell.name) = cell;
    ++m_used;
  }

  // Empties a cell and closes the gap, so that no search stops short of a cell that was pushed
  // away from its home.
  void Erase(Cell& cell) {
    const std::size_t mask = m_cells.size() - 1;
    auto gap = static_cast<std::size_t>(&cell - m_cells.data());
    for (std::size_t at = Next(gap); m_cells[at].name != nullptr; at = Next(at)) {
      const std::size_t home = Home(m_cells[at].name);
      if (((at - home) & mask) >= ((at - gap) & mask)) {
        m_cells[gap] = m_cells[at];
        gap = at;
      }
    }
    m_cells[gap] = {};
    --m_used;
  }

  // For a name whose cell will be needed soon.
  void Prefetch(const RWCString* name) const { Tree_Prefetch(&m_cells[Home(name)]); }

 private:
  std::size_t Home(const RWCString* name) const {
    return static_cast<std::size_t>(Tree_AddressHash(name) >> m_shift);
  }
  std::size_t Next(std::size_t at) const { return (at + 1) & (m_cells.size() - 1); }

  void Grow() {
    std::vector<Cell> old(m_cells.size() * 2);
    old.swap(m_cells);
    --m_shift;
    for (const Cell& cell : old) {
      if (cell.name != nullptr) CellOf(cell.name) = cell;
    }
  }

  std::vector<Cell> m_cells;  // a power of two of them
  int m_shift = 0;            // a hash is shifted down by this to become a cell's number
  std::size_t m_used = 0;
};

#endif  // TREE_TREE_NAMETABLE_H
