#pragma once

#include <cstdint>

/// How the vehicle moves while it follows its user.
enum FOLLOW_ME_TRAJECTORY_TYPE : std::int32_t {
  FOLLOW_ME_TRAJECTORY_NONE = 0,    ///< not following
  FOLLOW_ME_TRAJECTORY_BEHIND = 1,  ///< keeps its bearing behind the user
  FOLLOW_ME_TRAJECTORY_BESIDE = 2,  ///< keeps its bearing beside the user
  FOLLOW_ME_TRAJECTORY_ORBIT = 3,   ///< circles the user
};
