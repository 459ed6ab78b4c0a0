#include "qvconvertrecordingui.h"

#include "qvdialogframe.h"
#include "qvrecordingtools.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QStyle>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

QvConvertRecordingUI::QvConvertRecordingUI(QWidget* parent) : QDialog(parent) {
    m_chooseFile = [](QWidget* owner, const QString& title, const QString& start, const QString& filter, bool save) {
        return save ? QFileDialog::getSaveFileName(owner, title, start, filter, nullptr,
                                                   QFileDialog::DontConfirmOverwrite)
                    : QFileDialog::getOpenFileName(owner, title, start, filter);
    };
    setupUi();
    m_progressTimer = new QTimer(this);
    m_progressTimer->setInterval(100);
    connect(m_progressTimer, &QTimer::timeout, this, [this] {
        const int percent = qRound(m_progress.load() * 100);
        progress_convert->setValue(percent);
        lb_status->setText(tr("Converting... %1%").arg(percent));
    });
    connect(pb_convert, &QPushButton::clicked, this, &QvConvertRecordingUI::on_pb_convert_clicked);
    connect(pb_cancel, &QPushButton::clicked, this, &QvConvertRecordingUI::on_pb_cancel_clicked);
    connect(pb_choose_input, &QPushButton::clicked, this, &QvConvertRecordingUI::on_pb_choose_input_clicked);
    connect(pb_choose_output, &QPushButton::clicked, this, &QvConvertRecordingUI::on_pb_choose_output_clicked);
}

QvConvertRecordingUI::~QvConvertRecordingUI() {
    stopWorker();
}

void QvConvertRecordingUI::setupUi() {
    setObjectName(QStringLiteral("QvConvertRecordingUI"));
    setWindowTitle(tr("Convert Recording"));
    setFixedSize(640, 330);
    QvDialogFrame frame;
    frame.setup(this, tr("Convert Recording"));
    m_helper = frame.helper;
    QWidget* body = frame.widget_body;
    body->setStyleSheet(body->styleSheet() + QStringLiteral(
        "QLineEdit{font:13px \"Noto Sans SC Medium\";color:#555555;border:1px solid #ACACAC;border-radius:3px;"
        "padding:3px 6px;background:white;}QLineEdit:focus{border:1px solid #004B6A;}"
        "QLineEdit:disabled{background:#F2F2F2;color:#A7A7A7;}"
        "QProgressBar{border:1px solid #D7E7EE;border-radius:3px;background:#F2F2F2;}"
        "QProgressBar::chunk{background:#004B6A;border-radius:3px;}"
        "QLabel#lb_status[error=\"true\"]{color:#FF6058;}"));

    auto* column = new QVBoxLayout(body);
    column->setContentsMargins(24, 18, 24, 16);
    column->setSpacing(12);
    auto* note = new QLabel(tr("Rewrites an EVT 2.0, EVT 2.1 or DAT recording as an EVT 3.0 recording."), body);
    note->setWordWrap(true);
    column->addWidget(note);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(10);
    const auto fileRow = [&](int r, const QString& caption, const char* fieldName, QLineEdit*& field,
                             const char* buttonName, QPushButton*& button) {
        grid->addWidget(new QLabel(caption, body), r, 0);
        field = new QLineEdit(body);
        field->setObjectName(QLatin1String(fieldName));
        grid->addWidget(field, r, 1);
        button = new QPushButton(tr("Choose..."), body);
        button->setObjectName(QLatin1String(buttonName));
        button->setStyleSheet(QvDialogFrame::secondaryButtonStyle());
        grid->addWidget(button, r, 2);
    };
    fileRow(0, tr("Recording"), "le_input", le_input, "pb_choose_input", pb_choose_input);
    fileRow(1, tr("New file"), "le_output", le_output, "pb_choose_output", pb_choose_output);
    grid->setColumnStretch(1, 1);
    column->addLayout(grid);

    progress_convert = new QProgressBar(body);
    progress_convert->setObjectName(QStringLiteral("progress_convert"));
    progress_convert->setRange(0, 100);
    progress_convert->setTextVisible(false);
    progress_convert->setFixedHeight(8);
    column->addWidget(progress_convert);
    lb_status = new QLabel(body);
    lb_status->setObjectName(QStringLiteral("lb_status"));
    lb_status->setWordWrap(true);
    column->addWidget(lb_status);
    column->addStretch(1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    pb_cancel = new QPushButton(tr("Cancel"), body);
    pb_cancel->setObjectName(QStringLiteral("pb_cancel"));
    pb_cancel->setStyleSheet(QvDialogFrame::secondaryButtonStyle());
    pb_convert = new QPushButton(tr("Convert"), body);
    pb_convert->setObjectName(QStringLiteral("pb_convert"));
    pb_convert->setStyleSheet(QvDialogFrame::primaryButtonStyle());
    pb_convert->setDefault(true);
    buttons->addWidget(pb_cancel);
    buttons->addWidget(pb_convert);
    column->addLayout(buttons);
    progress_convert->hide();
}

QString QvConvertRecordingUI::proposedOutput(const QString& input, const QString& folder) {
    return QDir(folder).filePath(QFileInfo(input).completeBaseName() + QStringLiteral("_evt3.raw"));
}

void QvConvertRecordingUI::setInput(const QString& path) {
    le_input->setText(path);
    if (!path.isEmpty())
        le_output->setText(proposedOutput(path, m_outputFolder.isEmpty() ? QFileInfo(path).absolutePath()
                                                                         : m_outputFolder));
}

void QvConvertRecordingUI::setOutputFolder(const QString& folder) {
    m_outputFolder = folder;
    if (!le_input->text().isEmpty())
        le_output->setText(proposedOutput(le_input->text(), folder));
}

QString QvConvertRecordingUI::inputPath() const {
    return le_input->text().trimmed();
}

QString QvConvertRecordingUI::outputPath() const {
    QString out = le_output->text().trimmed();
    if (!out.isEmpty() && !out.endsWith(QLatin1String(".raw"), Qt::CaseInsensitive))
        out += QStringLiteral(".raw");
    return out;
}

QString QvConvertRecordingUI::lastError() const {
    return m_lastError;
}

void QvConvertRecordingUI::showError(const QString& text) {
    m_lastError = text;
    lb_status->setProperty("error", !text.isEmpty());
    lb_status->setText(text);
    lb_status->style()->unpolish(lb_status);
    lb_status->style()->polish(lb_status);
}

void QvConvertRecordingUI::setRunning(bool running) {
    for (QWidget* w : std::initializer_list<QWidget*>{le_input, le_output, pb_choose_input, pb_choose_output, pb_convert})
        w->setEnabled(!running);
    progress_convert->setVisible(running);
    if (running) {
        m_progress = 0.0;
        progress_convert->setValue(0);
        m_progressTimer->start();
    } else {
        m_progressTimer->stop();
    }
}

void QvConvertRecordingUI::on_pb_convert_clicked() {
    if (isConverting())
        return;
    const QString in = inputPath();
    const QString out = outputPath();
    const QFileInfo inInfo(in), outInfo(out);
    if (in.isEmpty())
        return showError(tr("Choose the recording to convert."));
    if (!inInfo.isFile())
        return showError(tr("The recording does not exist."));
    if (out.isEmpty())
        return showError(tr("Name the new file."));
    if (inInfo.absoluteFilePath() == outInfo.absoluteFilePath() ||
        (outInfo.exists() && inInfo.canonicalFilePath() == outInfo.canonicalFilePath()))
        return showError(tr("The new file must not be the recording itself."));
    if (outInfo.exists())
        return showError(tr("A file of this name already exists."));
    if (!outInfo.absoluteDir().exists())
        return showError(tr("The folder of the new file does not exist."));
    showError(QString());
    setRunning(true);
    lb_status->setText(tr("Converting... %1%").arg(0));
    const std::string inPath = in.toLocal8Bit().toStdString();
    const std::string outPath = out.toLocal8Bit().toStdString();
    m_worker = std::thread([this, inPath, outPath] {
        std::string error;
        const bool ok = QvRecordingTools::convertToEvt3(inPath, outPath, m_progress, m_cancel, error);
        const QString reason = ok ? QString() : QString::fromStdString(error.empty() ? "unknown error" : error);
        QMetaObject::invokeMethod(this, "slotWorkerDone", Qt::QueuedConnection, Q_ARG(QString, reason));
    });
}

void QvConvertRecordingUI::slotWorkerDone(QString error) {
    if (m_worker.joinable())
        m_worker.join();
    const bool cancelled = m_cancel.exchange(false);
    setRunning(false);
    if (error.isEmpty()) {
        m_lastError.clear();
        emit signalConversionEnded(QString());
        accept();
        return;
    }
    if (cancelled || error == QLatin1String(QvRecordingTools::kCancelled))
        showError(tr("Cancelled; no file was written."));
    else
        showError(tr("Conversion failed: %1").arg(error));
    emit signalConversionEnded(m_lastError);
}

void QvConvertRecordingUI::on_pb_cancel_clicked() {
    if (isConverting()) {
        m_cancel = true; // the thread stops within a batch and reports back
        return;
    }
    reject();
}

void QvConvertRecordingUI::reject() {
    stopWorker();
    QDialog::reject();
}

void QvConvertRecordingUI::stopWorker() {
    if (!m_worker.joinable())
        return;
    m_cancel = true;
    m_worker.join();
    m_cancel = false;
    setRunning(false);
}

void QvConvertRecordingUI::on_pb_choose_input_clicked() {
    const QString path = m_chooseFile(this, tr("Select a recording"), inputPath(), tr("Recordings (*.raw *.dat)"), false);
    if (!path.isEmpty())
        setInput(path);
}

void QvConvertRecordingUI::on_pb_choose_output_clicked() {
    const QString start = outputPath().isEmpty() ? m_outputFolder : outputPath();
    const QString path = m_chooseFile(this, tr("Save the EVT 3.0 recording as"), start, tr("RAW files (*.raw)"), true);
    if (!path.isEmpty())
        le_output->setText(path);
}
