// The addresses of scenarios, the gallery and copies of what was done; docs/http.md describes them.
#pragma once

#include "simulator/page/job_queue.h"
#include "simulator/page/page_controller.h"
#include "simulator/page/web_server.h"

namespace desk {

void add_scenario_routes(WebServer &server, JobQueue &jobs, PageController &controller);

} // namespace desk
