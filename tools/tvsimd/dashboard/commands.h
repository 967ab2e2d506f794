// The dashboard's changes to the TV, from decoded requests, made through the
// TV's controls (any thread may use them). Runs on an HTTP thread. What the
// controls refuse comes out as their tvsim::ControlError; a value of another
// shape than the path's type as web::ApiError 400.
#pragma once

#include <api_requests.h>

#include <tvsim/tv_control.h>

namespace tvsimd {

class DashboardCommands {
public:
    explicit DashboardCommands(tvsim::TvControl& control) : m_control(control) {}

    void setValue(const web::SetValueRequest& request);
    void fault(const web::FaultRequest& request);
    void answer(const web::AnswerRequest& request);

private:
    tvsim::TvControl& m_control;
};

}  // namespace tvsimd
