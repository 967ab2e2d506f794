#include "commands.h"

namespace tvsimd {

void DashboardCommands::setValue(const web::SetValueRequest& request) {
    m_control.setValue(request.path, web::decodeValue(m_control.valueTypeAt(request.path), request.value));
}

void DashboardCommands::fault(const web::FaultRequest& request) {
    switch (request.kind) {
        case web::FaultKind::FailGetter:
            m_control.failGetter(request.path, request.clear ? 0 : request.status);
            return;
        case web::FaultKind::FailConnects:
            m_control.failNextConnects(request.path, request.clear ? 0 : request.count, request.status);
            return;
        case web::FaultKind::NullObjectOnConnects:
            m_control.nullObjectOnNextConnects(request.path, request.clear ? 0 : request.count);
            return;
        case web::FaultKind::ReportType:
            m_control.reportType(request.path, request.clear ? m_control.typeAt(request.path)
                                                             : static_cast<lomodelapi::ObjectTypeSpec>(request.type));
            return;
        case web::FaultKind::RefuseInvokes:
            m_control.refuseNextInvokes(request.path, request.clear ? 0 : request.count, request.status);
            return;
        case web::FaultKind::FailCreateIterators:
            m_control.failNextCreateIterators(request.path, request.clear ? 0 : request.count);
            return;
        case web::FaultKind::RefuseInterfaceReference:
            m_control.refuseInterfaceReference(!request.clear, request.status);
            return;
        case web::FaultKind::EmptyInterfaceReference:
            m_control.emptyInterfaceReference(!request.clear);
            return;
        case web::FaultKind::NullRootObject:
            m_control.nullRootObject(!request.clear);
            return;
    }
}

void DashboardCommands::answer(const web::AnswerRequest& request) {
    if (request.kind == web::AnswerKind::Own) {
        m_control.resetReply(request.path);
        return;
    }
    tvsim::Reply reply;
    reply.kind = request.kind == web::AnswerKind::Results   ? tvsim::Reply::Kind::Results
                 : request.kind == web::AnswerKind::Failure ? tvsim::Reply::Kind::Failure
                                                            : tvsim::Reply::Kind::NoReply;
    reply.error = request.error;
    reply.delay = request.delay;
    m_control.setReply(request.path, reply);
}

}  // namespace tvsimd
