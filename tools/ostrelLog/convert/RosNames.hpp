#pragma once

#include <set>
#include <string>

namespace logtool {

/// How the names of a log become names that ROS 2 allows: lower-case letters, digits and single
/// underscores, a letter in front.
///
/// `inputs.sensors.imu.acc[0].x` is the field `acc_0_x` of the topic `/inputs/sensors/imu`: the topic has
/// the parts before the last one, at most three of them. A name without parts belongs to the topic
/// `/samples`.
struct RosName {
  explicit RosName(const std::string& name);

  std::string topic;
  std::string field;
};

/// The name of the message type for a topic, such as `ostrel/msg/InputsSensorsImu`.
std::string rosType(const std::string& topic);

/// Names that were given, so that no two are the same, whatever different names of a log turn into.
class UniqueNames {
 public:
  /// The name, with `separator` and a number behind it if it was taken before.
  std::string claim(const std::string& name, const std::string& separator);

 private:
  std::set<std::string> taken;
};

}  // namespace logtool
