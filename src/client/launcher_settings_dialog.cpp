#include "app/launcher.h"
#include "app/settings_keys.h"
#include "client/graphics_options.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTabWidget>
#include <QVBoxLayout>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

using launcher_client::DependentControls;
using launcher_client::FsrPreset;
using launcher_client::GraphicsOptions;

namespace
{

constexpr QSize kFirstSize(600, 540);
constexpr double kFractionStep = 0.05;
constexpr int kFractionDecimals = 2;

QComboBox* addCombo(
    QFormLayout* form, const QString& objectName, const QString& caption, const QStringList& items,
    const QString& chosen)
{
    auto* combo = new QComboBox;
    combo->setObjectName(objectName);
    combo->addItems(items);
    combo->setCurrentText(chosen);
    form->addRow(caption, combo);
    return combo;
}

QComboBox* addDetail(QFormLayout* form, const QString& objectName, const QString& caption, int chosen)
{
    const QStringList levels{u"Düşük (_4.DAT)"_s, u"Orta (_2.DAT)"_s, u"Yüksek (_1.DAT)"_s};
    return addCombo(form, objectName, caption, levels, levels.at(chosen));
}

QDoubleSpinBox* addFraction(
    QFormLayout* form, const QString& objectName, const QString& caption, double least, double most, double chosen)
{
    auto* box = new QDoubleSpinBox;
    box->setObjectName(objectName);
    box->setDecimals(kFractionDecimals);
    box->setSingleStep(kFractionStep);
    box->setRange(least, most);
    box->setValue(chosen);
    form->addRow(caption, box);
    return box;
}

QSpinBox* newNumber(const QString& objectName, int least, int most, int chosen)
{
    auto* box = new QSpinBox;
    box->setObjectName(objectName);
    box->setRange(least, most);
    box->setValue(chosen);
    return box;
}

QCheckBox* addCheck(QFormLayout* form, const QString& objectName, const QString& caption, bool chosen)
{
    auto* box = new QCheckBox;
    box->setObjectName(objectName);
    box->setChecked(chosen);
    form->addRow(caption, box);
    return box;
}

QLineEdit* addLine(QFormLayout* form, const QString& objectName, const QString& caption, const QString& text)
{
    auto* line = new QLineEdit(text);
    line->setObjectName(objectName);
    form->addRow(caption, line);
    return line;
}

} // namespace

void Launcher::buildSettings()
{
    const GraphicsOptions saved = launcher_client::savedGraphics(settings);

    settingsDialog = new QDialog(this);
    settingsDialog->setObjectName(u"settingsDialog"_s);
    settingsDialog->setWindowTitle(u"Ayarlar"_s);
    settingsDialog->resize(kFirstSize);
    auto* column = new QVBoxLayout(settingsDialog);
    auto* tabs = new QTabWidget;
    tabs->setObjectName(u"settingsTabs"_s);
    tabs->addTab(buildGraphicsTab(saved), u"Grafik"_s);
    tabs->addTab(buildAdvancedTab(), u"Gelişmiş"_s);
    column->addWidget(tabs);

    auto* row = new QHBoxLayout;
    row->addStretch();
    addActionButton(row, u"Kaydet"_s, u"saveGraphics"_s, [this] { saveSettings(); })->setDefault(true);
    addActionButton(row, u"Kapat"_s, u"closeSettings"_s, [this] { settingsDialog->hide(); });
    column->addLayout(row);
}

QWidget* Launcher::buildGraphicsTab(const GraphicsOptions& saved)
{
    auto* tab = new QWidget;
    auto* form = new QFormLayout(tab);
    addRendererRows(form, saved);
    addQualityRows(form, saved);
    addScreenRows(form, saved);
    refreshFsrControls();
    connect(graphics.renderer, &QComboBox::currentTextChanged, this, &Launcher::refreshFsrControls);
    connect(graphics.upscaler, &QComboBox::currentIndexChanged, this, &Launcher::refreshFsrControls);
    return tab;
}

void Launcher::addRendererRows(QFormLayout* form, const GraphicsOptions& saved)
{
    graphics.renderer =
        addCombo(form, u"renderer"_s, u"Görüntü motoru"_s, launcher_client::rendererNames(), saved.renderer);
    graphics.renderScale = addFraction(
        form, u"renderScale"_s, u"Çizim ölçeği (Vulkan)"_s, launcher_client::kSmallestRenderScale,
        launcher_client::kLargestRenderScale, saved.renderScale);
    graphics.renderScale->setToolTip(
        u"Vulkan scene resolution scale; window and HUD remain full resolution. OpenGL is fixed at 1."_s);

    graphics.upscaler = addCombo(form, u"upscaler"_s, u"Ölçekleme (Vulkan)"_s, {}, {});
    for (const FsrPreset& preset : launcher_client::fsrPresets())
        graphics.upscaler->addItem(preset.caption, preset.name);
    graphics.upscaler->setCurrentIndex(graphics.upscaler->findData(saved.fsr));
    graphics.upscaler->setToolTip(
        u"AMD FidelityFX Super Resolution 3.1.4 temporal upscaling (Vulkan); replaces the render scale."_s);

    graphics.fsrSharpness = addFraction(
        form, u"fsrSharpness"_s, u"FSR keskinlik"_s, 0.0, launcher_client::kLargestSharpness, saved.fsrSharpness);
    graphics.frameGeneration =
        addCheck(form, u"frameGeneration"_s, u"Kare üretimi (FSR 3.1.4)"_s, saved.frameGeneration);
    graphics.frameGeneration->setToolTip(
        u"AMD FSR 3.1.4 frame generation (Vulkan, requires an FSR mode): one generated frame between rendered frames, "
        "paced by VOK. Adds about half a frame of latency."_s);
}

void Launcher::addQualityRows(QFormLayout* form, const GraphicsOptions& saved)
{
    graphics.appearance =
        addCombo(form, u"appearance"_s, u"Görünüm"_s, launcher_client::appearanceNames(), saved.appearance);
    graphics.rayTracing = addCombo(
        form, u"rayTracing"_s, u"Işın izleme (donanıma bağlı)"_s, launcher_client::rayTracingNames(), saved.rayTracing);
    graphics.rtStyle =
        addCombo(form, u"rtStyle"_s, u"Işın izleme ışığı"_s, launcher_client::rtStyleNames(), saved.rtStyle);
    graphics.textureDetail = addDetail(form, u"textureDetail"_s, u"Doku detay"_s, saved.textureDetail);
    graphics.lightmapDetail = addDetail(form, u"lightmapDetail"_s, u"Gölge detay"_s, saved.lightmapDetail);
}

void Launcher::addScreenRows(QFormLayout* form, const GraphicsOptions& saved)
{
    graphics.width =
        newNumber(u"width"_s, launcher_client::kSmallestWidth, launcher_client::kLargestWidth, saved.width);
    graphics.width->setAccessibleName(u"Çözünürlük genişliği"_s);
    graphics.height =
        newNumber(u"height"_s, launcher_client::kSmallestHeight, launcher_client::kLargestHeight, saved.height);
    graphics.height->setAccessibleName(u"Çözünürlük yüksekliği"_s);
    auto* row = new QHBoxLayout;
    row->addWidget(graphics.width);
    row->addWidget(new QLabel(u"×"_s));
    row->addWidget(graphics.height);
    row->addStretch();
    form->addRow(u"Çözünürlük"_s, row);

    graphics.fullscreen = addCheck(form, u"fullscreen"_s, u"Tam ekran"_s, saved.fullscreen);
    graphics.volume = newNumber(u"volume"_s, 0, launcher_client::kFullVolume, saved.volumePercent);
    graphics.volume->setSuffix(u" %"_s);
    form->addRow(u"Ses düzeyi"_s, graphics.volume);
}

QWidget* Launcher::buildAdvancedTab()
{
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    // No stop of its own for the Tab key: what takes the focus inside is scrolled into sight.
    area->setFocusPolicy(Qt::NoFocus);
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->addWidget(buildInstallationGroup());
    column->addWidget(buildMappingGroup());
    column->addWidget(buildDiagnosticsGroup());
    area->setWidget(content);
    return area;
}

QWidget* Launcher::buildInstallationGroup()
{
    auto* group = new QGroupBox(u"Kurulum"_s);
    auto* form = new QFormLayout(group);
    const QString dataFolder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    installRoot = addLine(
        form, u"installRoot"_s, u"Kurulum klasörü"_s, settings.value(keys::kInstallationRoot, dataFolder).toString());
    assetSource =
        addLine(form, u"assetSource"_s, u"Özgün dosya kaynağı"_s, settings.value(keys::kAssetsSource).toString());
    extractor = addLine(form, u"extractor"_s, u"innoextract.exe"_s, settings.value(keys::kAssetsExtractor).toString());
    extractor->setPlaceholderText(u"otomatik bulunur"_s);

    auto* row = new QHBoxLayout;
    addActionButton(row, u"Dosyaları doğrula"_s, u"verifyButton"_s, [this] { verifyAssets(false); });
    addActionButton(row, u"Onar"_s, u"repairButton"_s, [this] { verifyAssets(true); });
    form->addRow(row);
    return group;
}

QWidget* Launcher::buildMappingGroup()
{
    auto* group = new QGroupBox(u"Özgün içerik eşlemeleri (isteğe bağlı)"_s);
    auto* form = new QFormLayout(group);
    const auto addMapping = [&](const QString& objectName, const QString& caption) {
        return addLine(form, objectName, caption, settings.value(keys::mappingKey(objectName)).toString());
    };
    modelMap = addMapping(u"modelMap"_s, u"Model eşlemesi (id:N → JSON)"_s);
    audioPath = addMapping(u"audioPath"_s, u"Ses klasörü (göreli)"_s);
    soundMap = addMapping(u"soundMap"_s, u"Ses olayı eşlemesi (JSON)"_s);
    return group;
}

GraphicsOptions Launcher::chosenGraphics() const
{
    GraphicsOptions chosen;
    chosen.renderer = graphics.renderer->currentText();
    chosen.renderScale = graphics.renderScale->value();
    chosen.fsr = graphics.upscaler->currentData().toString();
    chosen.fsrSharpness = graphics.fsrSharpness->value();
    chosen.frameGeneration = graphics.frameGeneration->isChecked();
    chosen.appearance = graphics.appearance->currentText();
    chosen.rayTracing = graphics.rayTracing->currentText();
    chosen.rtStyle = graphics.rtStyle->currentText();
    chosen.textureDetail = graphics.textureDetail->currentIndex();
    chosen.lightmapDetail = graphics.lightmapDetail->currentIndex();
    chosen.width = graphics.width->value();
    chosen.height = graphics.height->value();
    chosen.fullscreen = graphics.fullscreen->isChecked();
    chosen.volumePercent = graphics.volume->value();
    return chosen;
}

void Launcher::refreshFsrControls()
{
    const DependentControls settled = launcher_client::settledControls(chosenGraphics());
    graphics.renderScale->setValue(settled.renderScale);
    graphics.upscaler->setCurrentIndex(graphics.upscaler->findData(settled.fsr));
    graphics.frameGeneration->setChecked(settled.frameGeneration);
    graphics.renderScale->setEnabled(settled.renderScaleEnabled);
    graphics.upscaler->setEnabled(settled.upscalerEnabled);
    graphics.fsrSharpness->setEnabled(settled.fsrSharpnessEnabled);
    graphics.frameGeneration->setEnabled(settled.frameGenerationEnabled);
}

void Launcher::saveSettings()
{
    persistSettings();
    status->setText(u"Ayarlar kaydedildi"_s);
    settingsDialog->hide();
    refreshPages();
}

void Launcher::persistSettings()
{
    const GraphicsOptions chosen = chosenGraphics();
    launcher_client::requireSavable(chosen);
    settings.setValue(keys::kInstallationRoot, installRoot->text());
    settings.setValue(keys::kAssetsSource, assetSource->text());
    settings.setValue(keys::kAssetsExtractor, extractor->text());
    launcher_client::saveGraphics(settings, chosen);
    for (const QLatin1StringView key : keys::kFormerKeys)
        settings.remove(key);
    for (const QLineEdit* mapping : {modelMap, audioPath, soundMap})
        settings.setValue(keys::mappingKey(mapping->objectName()), mapping->text());
    settings.sync();
}

} // namespace vok
