#include "qvrecordinginfoui.h"

#include "qvdialogframe.h"
#include "qvutility.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace {

QString count(uint64_t n) {
    return QLocale(QLocale::English).toString(static_cast<qulonglong>(n));
}

// "00:01:05.250": recordings are often shorter than a second.
QString durationText(uint64_t us) {
    return QStringLiteral("%1.%2").arg(QvUtility::durationText(us / 1000000)).arg(us / 1000 % 1000, 3, 10, QLatin1Char('0'));
}

QString formatText(const std::string& name) {
    if (name == "EVT2")
        return QStringLiteral("EVT 2.0");
    if (name == "EVT21")
        return QStringLiteral("EVT 2.1");
    if (name == "EVT3")
        return QStringLiteral("EVT 3.0");
    return QString::fromStdString(name);
}

} // namespace

// ---- event rate plot ------------------------------------------------------------------------

QvEventRatePlot::QvEventRatePlot(QWidget* parent) : QWidget(parent) {
    setMinimumHeight(170);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void QvEventRatePlot::setRate(std::vector<double> rate, uint64_t binUs) {
    m_rate = std::move(rate);
    m_binUs = binUs;
    update();
}

QString QvEventRatePlot::rateText(double eventsPerSecond) {
    if (eventsPerSecond >= 1e6)
        return tr("%1 MEv/s").arg(eventsPerSecond / 1e6, 0, 'f', eventsPerSecond >= 1e8 ? 0 : 1);
    if (eventsPerSecond >= 1e3)
        return tr("%1 kEv/s").arg(eventsPerSecond / 1e3, 0, 'f', eventsPerSecond >= 1e5 ? 0 : 1);
    return tr("%1 events/s").arg(eventsPerSecond, 0, 'f', 0);
}

void QvEventRatePlot::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(rect(), Qt::white);
    QFont font(QStringLiteral("Noto Sans SC Medium"));
    font.setPixelSize(11);
    p.setFont(font);
    const QFontMetrics fm(font);
    const QRectF area(8, fm.height() + 6, width() - 16, height() - 2 * fm.height() - 14);
    p.setPen(QPen(QColor(0xE3, 0xE3, 0xE3), 1));
    for (int i = 0; i <= 4; ++i) {
        const double y = area.top() + area.height() * i / 4.0;
        p.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
    }
    p.setPen(QColor(0xA7, 0xA7, 0xA7));
    if (m_rate.empty()) {
        p.drawText(area, Qt::AlignCenter, tr("No event rate to show"));
        return;
    }
    const double peak = *std::max_element(m_rate.begin(), m_rate.end());
    const double top = peak > 0 ? peak * 1.1 : 1.0;
    QPainterPath curve;
    const double step = area.width() / static_cast<double>(m_rate.size());
    curve.moveTo(area.left(), area.bottom());
    for (size_t i = 0; i < m_rate.size(); ++i) {
        const double y = area.bottom() - area.height() * (m_rate[i] / top);
        curve.lineTo(area.left() + step * static_cast<double>(i), y);
        curve.lineTo(area.left() + step * static_cast<double>(i + 1), y);
    }
    curve.lineTo(area.right(), area.bottom());
    curve.closeSubpath();
    p.fillPath(curve, QColor(0x00, 0x4B, 0x6A, 70));
    p.setPen(QPen(QColor(0x00, 0x4B, 0x6A), 1.4));
    p.drawPath(curve);

    p.setPen(QColor(0x57, 0x57, 0x57));
    p.drawText(QPointF(area.left(), area.top() - 4), tr("Peak %1").arg(rateText(peak)));
    const double seconds = static_cast<double>(m_binUs) * static_cast<double>(m_rate.size()) / 1e6;
    const QString start = tr("%1 s").arg(0);
    const QString end = tr("%1 s").arg(seconds, 0, 'f', seconds >= 10 ? 0 : (seconds >= 1 ? 1 : 3));
    const double baseline = area.bottom() + fm.ascent() + 4;
    p.drawText(QPointF(area.left(), baseline), start);
    p.drawText(QPointF(area.right() - fm.horizontalAdvance(end), baseline), end);
}

// ---- dialog ---------------------------------------------------------------------------------

QvRecordingInfoUI::QvRecordingInfoUI(QWidget* parent) : QDialog(parent) {
    m_chooseFile = [](QWidget* owner, const QString& title, const QString& folder, const QString& filter) {
        return QFileDialog::getOpenFileName(owner, title, folder, filter);
    };
    setupUi();
    m_progressTimer = new QTimer(this);
    m_progressTimer->setInterval(100);
    connect(m_progressTimer, &QTimer::timeout, this, [this] {
        const int percent = qRound(m_progress.load() * 100);
        progress_index->setValue(percent);
        lb_status->setText(tr("Indexing the recording... %1%").arg(percent));
    });
    connect(pb_choose_file, &QPushButton::clicked, this, &QvRecordingInfoUI::on_pb_choose_file_clicked);
    connect(pb_close, &QPushButton::clicked, this, &QDialog::reject);
}

QvRecordingInfoUI::~QvRecordingInfoUI() {
    stopWorker();
}

void QvRecordingInfoUI::setupUi() {
    setObjectName(QStringLiteral("QvRecordingInfoUI"));
    setWindowTitle(tr("Recording Information"));
    setFixedSize(720, 600);
    QvDialogFrame frame;
    frame.setup(this, tr("Recording Information"));
    m_helper = frame.helper;
    QWidget* body = frame.widget_body;
    body->setStyleSheet(body->styleSheet() + QStringLiteral(
        "QLabel[role=\"value\"]{color:#004B6A;}"
        "QLineEdit{font:13px \"Noto Sans SC Medium\";color:#555555;border:1px solid #ACACAC;border-radius:3px;"
        "padding:3px 6px;background:#F7F7F7;}"
        "QProgressBar{border:1px solid #D7E7EE;border-radius:3px;background:#F2F2F2;height:8px;text-align:center;}"
        "QProgressBar::chunk{background:#004B6A;border-radius:3px;}"));

    auto* column = new QVBoxLayout(body);
    column->setContentsMargins(20, 14, 20, 16);
    column->setSpacing(10);
    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(new QLabel(tr("Recording"), body));
    le_file = new QLineEdit(body);
    le_file->setObjectName(QStringLiteral("le_file"));
    le_file->setReadOnly(true);
    fileRow->addWidget(le_file, 1);
    pb_choose_file = new QPushButton(tr("Choose..."), body);
    pb_choose_file->setObjectName(QStringLiteral("pb_choose_file"));
    pb_choose_file->setStyleSheet(QvDialogFrame::secondaryButtonStyle());
    pb_choose_file->setToolTip(tr("Choose another recording"));
    fileRow->addWidget(pb_choose_file);
    column->addLayout(fileRow);

    lb_status = new QLabel(body);
    lb_status->setObjectName(QStringLiteral("lb_status"));
    progress_index = new QProgressBar(body);
    progress_index->setObjectName(QStringLiteral("progress_index"));
    progress_index->setRange(0, 100);
    progress_index->setTextVisible(false);
    progress_index->setFixedHeight(8);
    column->addWidget(lb_status);
    column->addWidget(progress_index);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(8);
    int cell = 0;
    const auto valueRow = [&](const QString& caption, const char* name, QLabel*& value) {
        const int r = cell / 2, c = (cell % 2) * 2;
        ++cell;
        grid->addWidget(new QLabel(caption, body), r, c);
        value = new QLabel(body);
        value->setObjectName(QLatin1String(name));
        value->setProperty("role", QStringLiteral("value"));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(value, r, c + 1);
    };
    valueRow(tr("Format"), "lb_format_value", lb_format_value);
    valueRow(tr("Geometry"), "lb_geometry_value", lb_geometry_value);
    valueRow(tr("Serial"), "lb_serial_value", lb_serial_value);
    valueRow(tr("Date"), "lb_date_value", lb_date_value);
    valueRow(tr("First event"), "lb_first_value", lb_first_value);
    valueRow(tr("Last event"), "lb_last_value", lb_last_value);
    valueRow(tr("Duration"), "lb_duration_value", lb_duration_value);
    valueRow(tr("File size"), "lb_size_value", lb_size_value);
    valueRow(tr("Events"), "lb_events_value", lb_events_value);
    valueRow(tr("ON events"), "lb_on_events_value", lb_on_events_value);
    valueRow(tr("Triggers"), "lb_triggers_value", lb_triggers_value);
    valueRow(tr("Decoding errors"), "lb_errors_value", lb_errors_value);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(3, 1);
    column->addLayout(grid);

    column->addWidget(new QLabel(tr("Event rate over the recording"), body));
    widget_rate_plot = new QvEventRatePlot(body);
    widget_rate_plot->setObjectName(QStringLiteral("widget_rate_plot"));
    column->addWidget(widget_rate_plot, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    pb_close = new QPushButton(tr("Close"), body);
    pb_close->setObjectName(QStringLiteral("pb_close"));
    pb_close->setStyleSheet(QvDialogFrame::primaryButtonStyle());
    buttons->addWidget(pb_close);
    column->addLayout(buttons);

    progress_index->hide();
    lb_status->setText(tr("Choose a recording to see what it holds."));
}

void QvRecordingInfoUI::stopWorker() {
    m_cancel = true;
    if (m_worker.joinable())
        m_worker.join();
    m_cancel = false;
}

void QvRecordingInfoUI::clearValues() {
    for (QLabel* l : {lb_format_value, lb_geometry_value, lb_serial_value, lb_date_value, lb_size_value,
                      lb_first_value, lb_last_value, lb_duration_value, lb_events_value, lb_on_events_value,
                      lb_triggers_value, lb_errors_value})
        l->clear();
    widget_rate_plot->setRate({}, 0);
}

void QvRecordingInfoUI::setRecording(const QString& path) {
    stopWorker();
    ++m_generation;
    m_path = path;
    le_file->setText(QDir::toNativeSeparators(path));
    clearValues();
    m_summary = {};
    m_progress = 0.0;
    progress_index->setValue(0);
    progress_index->show();
    lb_status->setText(tr("Reading the recording..."));
    m_progressTimer->start();
    const int generation = m_generation;
    const std::string file = path.toLocal8Bit().toStdString();
    m_worker = std::thread([this, generation, file] {
        std::string error;
        const bool ok = QvRecordingTools::inspect(file, m_workerSummary, m_progress, m_cancel, error);
        const QString reason = ok ? QString() : QString::fromStdString(error.empty() ? "unknown error" : error);
        QMetaObject::invokeMethod(this, "slotWorkerDone", Qt::QueuedConnection, Q_ARG(int, generation),
                                  Q_ARG(QString, reason));
    });
}

void QvRecordingInfoUI::slotWorkerDone(int generation, QString error) {
    if (generation != m_generation)
        return; // a reading replaced since
    if (m_worker.joinable())
        m_worker.join();
    m_progressTimer->stop();
    progress_index->hide();
    if (!error.isEmpty()) {
        lb_status->setText(tr("Cannot read this recording: %1").arg(error));
        emit signalRecordingRead(m_path, error);
        return;
    }
    m_summary = m_workerSummary;
    showSummary();
    emit signalRecordingRead(m_path, QString());
}

void QvRecordingInfoUI::showSummary() {
    const QvRecordingTools::Summary& s = m_summary;
    const quorvel::DvsFileStats& st = s.stats;
    lb_status->setText(QFileInfo(m_path).fileName());
    lb_format_value->setText(formatText(s.format));
    lb_geometry_value->setText(tr("%1 x %2").arg(s.width).arg(s.height));
    lb_serial_value->setText(s.serial.empty() ? QStringLiteral("-") : QString::fromStdString(s.serial));
    lb_date_value->setText(s.date.empty() ? QStringLiteral("-") : QString::fromStdString(s.date));
    lb_size_value->setText(tr("%1 MB").arg(static_cast<double>(s.fileBytes) / (1024.0 * 1024.0), 0, 'f', 1));
    const bool any = st.events > 0;
    lb_first_value->setText(any ? tr("%1 us").arg(st.firstTimestamp) : QStringLiteral("-"));
    lb_last_value->setText(any ? tr("%1 us").arg(st.lastTimestamp) : QStringLiteral("-"));
    lb_duration_value->setText(any ? durationText(st.lastTimestamp - st.firstTimestamp) : QStringLiteral("-"));
    lb_events_value->setText(count(st.events));
    lb_on_events_value->setText(
        any ? tr("%1 (%2%)").arg(count(st.onEvents)).arg(100.0 * static_cast<double>(st.onEvents) / static_cast<double>(st.events), 0, 'f', 1)
            : count(0));
    lb_triggers_value->setText(count(st.triggers));
    QString errors = count(st.errors());
    if (st.errors() > 0) {
        errors += QLatin1Char(' ') + tr("(%1 events outside the geometry, %2 unknown words)")
                                         .arg(count(st.invalidEvents), count(st.reservedWords));
        if (st.trailingBytes)
            errors += QLatin1Char(' ') + tr("truncated at the end");
    }
    lb_errors_value->setText(errors);
    widget_rate_plot->setRate(s.rate, s.binUs);
}

void QvRecordingInfoUI::on_pb_choose_file_clicked() {
    const QString folder = m_path.isEmpty() ? m_startFolder : QFileInfo(m_path).absolutePath();
    const QString path = m_chooseFile(this, tr("Select a recording"), folder, tr("Recordings (*.raw *.dat)"));
    if (!path.isEmpty())
        setRecording(path);
}
