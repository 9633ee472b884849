#pragma once

#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The few names that come next to one that is not there: those that are written nearly like it; else those
/// that end in it, or whose last part, "instance:port", is nearly its own; else the nearest, however far.
/// Names are offered one by one and only the best are kept, so that a device may have any number.
class KEP_CLOSEST_NAMES {
public:
  /// The name must outlive the object.
  explicit KEP_CLOSEST_NAMES(std::string_view name);

  void offer(std::string_view name);
  /// The nearest first and else in the order in which they came; of near names none that is more than twice
  /// as far as the first. Empty only if no name was offered.
  std::vector<std::string> get_names() const;

private:
  enum KIND : unsigned { NEAR, ENDS_ALIKE, FAR };
  static constexpr unsigned NONE = std::numeric_limits<unsigned>::max();

  unsigned get_distance(KIND kind, std::string_view left, std::string_view right) const;
  void insert(KIND kind, unsigned distance, std::string_view name);

  std::string_view m_name;
  std::string_view m_last_part;
  std::array<unsigned, 2> m_limits; // less is near: for the name, for its last part
  KIND m_kind = FAR;                // of the best
  std::vector<std::pair<unsigned, std::string>> m_best;
};
