#pragma once

#include "model/scenegraph/Name.h"

#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace osg {
inline namespace knscene {

/// The names of all living nodes that keep theirs apart from one another (Node::keepsNameApart). Follows what is named,
/// renamed and announced; a name that was handed out for writing is read again at each question, until it is set anew.
/// Main thread.
class KNSCENE_API NameRegister {
 public:
  /// Made at first use, never destroyed.
  static NameRegister& the();

  /// Whether a living animation node has that name.
  bool contains(std::string const& text);
  /// All names, one for each node, in the order of the nodes' ids. Sorts all nodes.
  std::vector<std::string> getNames();
  /// `name` itself while it is free, else the first free one of "name_2", "name_3" and so on. As a rule in constant
  /// time, however many are taken.
  std::string findFree(std::string const& name);

 private:
  friend class Name;
  /// Of one name: which numbers behind it are known to be taken.
  struct Numbers {
    unsigned int next = 2;        ///< all below are taken
    std::set<unsigned int> free;  ///< but for these, which have become free, and may be taken again
  };
  using Counts = std::unordered_map<std::string, std::size_t>;
  struct Entry {
    Name* name;
    Counts::value_type* counted;
  };
  void update(Name& name, bool isWanted);
  void handOut(Name& name);
  void count(Entry& entry);
  void discount(Entry const& entry);
  void giveBack(std::string const& text);
  bool isTaken(std::string const& text) const;
  void readAgain();
  void dropSettled();

  std::vector<Entry> _entries;  ///< each name knows its place
  Counts _counts;
  static constexpr std::size_t MostUnused = 128;
  std::size_t _unused = 0;                            ///< names in there that nobody has any more
  std::unordered_map<std::string, Numbers> _numbers;  ///< of names that had to be numbered
  std::vector<NamePtr> _handedOut;
  std::size_t _roomForHandedOut = 64;  ///< before those that were set since are looked for
};

}  // namespace knscene
}  // namespace osg
