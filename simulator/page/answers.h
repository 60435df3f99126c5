// How requests are answered: JSON, errors with a sentence for people, and what several addresses ask for.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "simulator/page/job_queue.h"
#include "simulator/scenario/stage.h"

namespace desk {

void answer(httplib::Response &response, int status, const nlohmann::json &value);
void answer_error(httplib::Response &response, int status, const std::string &problem);

// Does `work` and answers for it if it has not done so itself. A bad line is the caller's mistake (400), the rest is not
// (409).
void answer_after(httplib::Response &response, const std::function<void()> &work);
// The same in the driving thread.
void answer_for(JobQueue &jobs, httplib::Response &response, const std::function<void()> &work);

std::optional<View> view_named(const std::string &name);
// What ?scale= asks for: 1 without one, 0 for what is no scale of 1 to 16.
int scale_wanted(const httplib::Request &request);

} // namespace desk
