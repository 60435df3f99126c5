#include "simulator/page/answers.h"

#include <cstdlib>

#include "simulator/page/page_json.h"
#include "simulator/scenario/scenario.h"

namespace desk {

using httplib::Response;
using nlohmann::json;

static constexpr int largest_scale = 16;

void answer(Response &response, int status, const json &value) {
    response.status = status;
    response.set_content(one_line(value) + "\n", "application/json");
}

void answer_error(Response &response, int status, const std::string &problem) {
    answer(response, status, {{"ok", false}, {"error", problem}});
}

void answer_after(Response &response, const std::function<void()> &work) {
    try {
        work();
        if (response.body.empty()) answer(response, 200, {{"ok", true}});
    } catch (const ScenarioError &problem) {
        answer_error(response, 400, problem.what());
    } catch (const std::exception &problem) {
        answer_error(response, 409, problem.what());
    }
}

void answer_for(JobQueue &jobs, Response &response, const std::function<void()> &work) {
    answer_after(response, [&] { jobs.run(work); });
}

std::optional<View> view_named(const std::string &name) {
    for (View view : both_views) {
        if (name == name_of(view)) return view;
    }
    return std::nullopt;
}

int scale_wanted(const httplib::Request &request) {
    if (!request.has_param("scale")) return 1;
    const int scale = std::atoi(request.get_param_value("scale").c_str());
    return scale >= 1 && scale <= largest_scale ? scale : 0;
}

} // namespace desk
