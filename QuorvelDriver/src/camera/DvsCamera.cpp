#include "quorvel/DvsCamera.h"

#include "camera/CameraCore.h"

namespace quorvel {

namespace {
// Operations on an empty handle (a FusionCamera built from an unknown description) fail quietly.
const CameraDescription kNoDescription{};
} // namespace

DvsCamera::DvsCamera(std::shared_ptr<detail::CameraCore> core) : m_core(std::move(core)) {}
DvsCamera::~DvsCamera() = default;

CameraDescription DvsCamera::getDescription() const { return m_core ? m_core->description() : kNoDescription; }

std::shared_ptr<CameraTool> DvsCamera::getTool(ToolType type) const { return m_core ? m_core->tool(type) : nullptr; }

std::vector<ToolInfo> DvsCamera::getAllToolsInfo() const { return m_core ? m_core->toolsInfo() : std::vector<ToolInfo>{}; }

bool DvsCamera::loadCameraConfigParams(std::string path) { return m_core && m_core->loadConfig(path); }
bool DvsCamera::exportCameraConfigParams(std::string path) { return m_core && m_core->exportConfig(path); }

int DvsCamera::start() { return m_core ? m_core->start() : -1; }
bool DvsCamera::stop() { return m_core && m_core->stop(); }
bool DvsCamera::isStreaming() const { return m_core && m_core->streaming(); }
bool DvsCamera::isConnected() { return m_core && m_core->connected(); }

bool DvsCamera::getEvents(std::vector<Event2D>& events) {
    if (!m_core) {
        events.clear();
        return false;
    }
    return m_core->getEvents(events);
}

int DvsCamera::addEventsCallback(EventsCallback callback) {
    return m_core ? m_core->addEventsCallback(std::move(callback)) : -1;
}
bool DvsCamera::removeEventsCallback(int id) { return m_core && m_core->removeEventsCallback(id); }
int DvsCamera::addTriggerInCallback(TriggerInCallback callback) {
    return m_core ? m_core->addTriggerCallback(std::move(callback)) : -1;
}
bool DvsCamera::removeTriggerInCallback(int id) { return m_core && m_core->removeTriggerCallback(id); }
void DvsCamera::setStatisticInfoCallback(StatisticInfoCallback callback) {
    if (m_core)
        m_core->setStatisticCallback(std::move(callback));
}

void DvsCamera::setTimeInterval(uint32_t intervalUs) {
    if (m_core)
        m_core->setTimeInterval(intervalUs);
}
uint32_t DvsCamera::getTimeInterval() const { return m_core ? m_core->timeInterval() : 0; }

uint16_t DvsCamera::getWidth() const { return m_core ? m_core->width() : 0; }
uint16_t DvsCamera::getHeight() const { return m_core ? m_core->height() : 0; }

bool DvsCamera::startRecording(std::string path) { return m_core && m_core->startRecording(path); }
bool DvsCamera::stopRecording() { return m_core && m_core->stopRecording(); }
bool DvsCamera::isRecording() const { return m_core && m_core->recording(); }
bool DvsCamera::setCacheTime(uint16_t seconds, std::string cacheFolder) {
    return m_core && m_core->setCacheTime(seconds, cacheFolder);
}
uint64_t DvsCamera::lastRecordingEventCount() const { return m_core ? m_core->lastRecordingEvents() : 0; }

void DvsCamera::setEventQueueLimit(uint64_t events) {
    if (m_core)
        m_core->setEventQueueLimit(static_cast<size_t>(events));
}
void DvsCamera::setRecordingQueueLimit(uint64_t bytes) {
    if (m_core)
        m_core->setRecordingQueueLimit(static_cast<size_t>(bytes));
}

uint64_t DvsCamera::droppedEvents() const { return m_core ? m_core->counters().queueDropped : 0; }
StreamLoss DvsCamera::getStreamLoss() const { return m_core ? m_core->loss() : StreamLoss{}; }
uint64_t DvsCamera::lostPackets() const { return m_core ? m_core->counters().lostPackets : 0; }
uint64_t DvsCamera::lostEvents() const { return m_core ? m_core->counters().lostEvents : 0; }
std::string DvsCamera::lastError() const { return m_core ? m_core->lastError() : "no such camera"; }

} // namespace quorvel
