// The dashboard's changes to the TV, from decoded requests. Runs on an HTTP
// thread: everything goes to the simulator, which any thread may use, except
// giving an action its own answer back, which needs the loaded models and is
// posted to the bus thread (never waited for). Throws web::ApiError: 404 when
// the model holds no such path, 400 when the request does not fit it.
#pragma once

#include "service.h"

#include <api_requests.h>

namespace tvsimd {

class DashboardCommands {
public:
    explicit DashboardCommands(Service& service) : m_service(service) {}

    void setValue(const web::SetValueRequest& request);
    void fault(const web::FaultRequest& request);
    void answer(const web::AnswerRequest& request);

private:
    Service& m_service;
};

}  // namespace tvsimd
