#include "dashboard_commands.h"

namespace tvsimd {

void DashboardCommands::setValue(const web::SetValueRequest& request) {
    tvsim::TvControl& control = m_service.control();
    control.setValue(request.path, web::decodeValue(control.valueTypeAt(request.path), request.value));
}

void DashboardCommands::fault(const web::FaultRequest& request) {
    tvsim::TvControl& control = m_service.control();
    switch (request.kind) {
        case web::FaultKind::FailGetter:
            control.failGetter(request.path, request.clear ? 0 : request.status);
            return;
        case web::FaultKind::FailConnects:
            control.failNextConnects(request.path, request.clear ? 0 : request.count, request.status);
            return;
        case web::FaultKind::NullObjectOnConnects:
            control.nullObjectOnNextConnects(request.path, request.clear ? 0 : request.count);
            return;
        case web::FaultKind::ReportType:
            control.reportType(request.path, request.clear ? control.typeAt(request.path)
                                                           : static_cast<lomodelapi::ObjectTypeSpec>(request.type));
            return;
        case web::FaultKind::RefuseInvokes:
            control.refuseNextInvokes(request.path, request.clear ? 0 : request.count, request.status);
            return;
        case web::FaultKind::FailCreateIterators:
            control.failNextCreateIterators(request.path, request.clear ? 0 : request.count);
            return;
        case web::FaultKind::RefuseInterfaceReference:
            control.refuseInterfaceReference(!request.clear, request.status);
            return;
        case web::FaultKind::EmptyInterfaceReference:
            control.emptyInterfaceReference(!request.clear);
            return;
        case web::FaultKind::NullRootObject:
            control.nullRootObject(!request.clear);
            return;
    }
}

void DashboardCommands::answer(const web::AnswerRequest& request) {
    if (request.kind == web::AnswerKind::Own) {
        m_service.control().resetReply(request.path);
        return;
    }
    tvsim::Reply reply;
    reply.kind = request.kind == web::AnswerKind::Results   ? tvsim::Reply::Kind::Results
                 : request.kind == web::AnswerKind::Failure ? tvsim::Reply::Kind::Failure
                                                            : tvsim::Reply::Kind::NoReply;
    reply.error = request.error;
    reply.delay = request.delay;
    m_service.control().setReply(request.path, reply);
}

}  // namespace tvsimd
