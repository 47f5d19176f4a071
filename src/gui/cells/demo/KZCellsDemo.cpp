#include "KZCellsDemo.h"

#include "format/KZDateUtilities.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "gui/cells/KZImageAndTextCell.h"
#include "gui/cells/KZItemsImageAndTextCell.h"
#include "gui/cells/KZTUDateCell.h"
#include "gui/cells/KZTUTextCellRightJust.h"
#include "gui/cells/KZTextGraficCenterJust.h"
#include "model/KZFilesUtilities.h"
#include "model/KZIconTheme.h"
#include "model/KZPath.h"
#include "model/KZVolumeKind.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QStandardItemModel>
#include <QTableView>
#include <QVBoxLayout>

namespace {

struct SampleVolume
{
    QString name;
    KZVolumeKind::Kind kind;
    quint64 size;
    unsigned items;
    unsigned checked;
    quint64 checkedSize;
    bool isDirectory;
};

struct SampleItem
{
    QString name;
    quint64 size;
    QString added; // ISO date and time, UTC
    QString originalLocation;
};

const QList<SampleVolume> kVolumes = {
    {QStringLiteral("Home"), KZVolumeKind::Kind::HardDisk, 1'284'500'000, 8, 3, 52'400'000, false},
    {QStringLiteral("USB Stick"), KZVolumeKind::Kind::Removable, 0, 0, 0, 0, false},
    {QStringLiteral("Backup Server"), KZVolumeKind::Kind::Network, 734'003, 1, 1, 734'003, false},
    {QStringLiteral("Scratch"), KZVolumeKind::Kind::HardDisk, 0, 2, 0, 0, true},
    {QStringLiteral("Photos archive with a name much longer than the column"),
     KZVolumeKind::Kind::Optical, 9'876'543'210, 1520, 0, 0, false},
};

const QList<SampleItem> kItems = {
    {QStringLiteral("Quarterly report.txt"), 18'432, QStringLiteral("2024-05-14T09:30:00"),
     QStringLiteral("/home/ana/Documents/Reports")},
    {QStringLiteral("Holiday photo.png"), 2'304'118, QStringLiteral("2024-06-02T18:05:00"),
     QStringLiteral("/home/ana/Pictures/2024/Summer")},
    {QStringLiteral("Projects"), 48'900'000, QStringLiteral("2023-11-21T07:45:00"),
     QStringLiteral("/home/ana")},
    {QStringLiteral("backup.tar.gz"), 1'203'004'500, QStringLiteral("2022-01-09T23:59:00"),
     QStringLiteral("/media/ana/USB Stick/old backups")},
    {QStringLiteral("build.sh"), 912, QStringLiteral("2024-07-30T12:00:00"),
     QStringLiteral("/home/ana/src/binwise")},
    {QStringLiteral("An item whose name is far too long to fit into the name column.pdf"), 77'000,
     QStringLiteral("2024-02-29T16:20:00"),
     QStringLiteral("/home/ana/Downloads/papers/very/deeply/nested/folders/that/go/on/and/on")},
};

double secondsSince2001(const QString &isoUtc)
{
    const QDateTime date = QDateTime::fromString(isoUtc + u'Z', Qt::ISODate);
    return double(date.toSecsSinceEpoch() - KZDateUtilities::kSeconds1970To2001);
}

QString sizeText(quint64 bytes)
{
    return KZNumberUtilities::sharedControl().sizeToFormatString(bytes, 4, true);
}

void styleTable(QTableView *table)
{
    table->setShowGrid(false);
    table->verticalHeader()->hide();
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

} // namespace

KZCellsDemo::KZCellsDemo(QWidget *parent)
    : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Binwise cells"));
    createSampleItems();

    auto *right = new QVBoxLayout;
    right->addWidget(new QLabel(QStringLiteral("Item list, rows 36 points high")));
    m_itemList = makeItemList(36, 200);
    right->addWidget(m_itemList, 3);
    right->addWidget(new QLabel(QStringLiteral("Item list, rows 26 points high")));
    m_compactList = makeItemList(26, 140);
    right->addWidget(m_compactList, 2);

    auto *left = new QVBoxLayout;
    left->addWidget(new QLabel(QStringLiteral("Source list")));
    m_sourceList = makeSourceList();
    left->addWidget(m_sourceList);

    auto *layout = new QHBoxLayout(this);
    layout->addLayout(left, 2);
    layout->addLayout(right, 3);
    resize(1040, 600);
}

void KZCellsDemo::createSampleItems()
{
    const QDir dir(m_items.path());
    for (const SampleItem &item : kItems) {
        const QString path = dir.filePath(item.name);
        if (item.name == QLatin1String("Projects")) {
            dir.mkpath(item.name);
            // A folder the desktop gave an icon of its own.
            QFile entry(path + QStringLiteral("/.directory"));
            if (entry.open(QIODevice::WriteOnly))
                entry.write("[Desktop Entry]\nIcon=folder-documents\n");
        } else if (item.name.endsWith(QLatin1String(".png"))) {
            QImage image(64, 48, QImage::Format_RGB32);
            image.fill(QColor(70, 130, 180));
            image.save(path);
        } else {
            QFile file(path);
            if (file.open(QIODevice::WriteOnly))
                file.write(item.name.endsWith(QLatin1String(".sh")) ? "#!/bin/sh\necho hi\n"
                                                                    : "sample\n");
        }
    }
}

QTableView *KZCellsDemo::makeSourceList()
{
    auto *model = new QStandardItemModel(0, 3, this);
    const auto theme = KZIconTheme::current();
    for (const SampleVolume &volume : kVolumes) {
        auto *check = new QStandardItem;
        check->setCheckable(true);
        check->setCheckState(volume.checked == 0              ? Qt::Unchecked
                             : volume.checked == volume.items ? Qt::Checked
                                                              : Qt::PartiallyChecked);
        check->setEnabled(volume.items > 0);

        auto *name
            = new QStandardItem(KZLocalizedFormat(QStringLiteral("%@ trash"), {volume.name}));
        const QImage icon = volume.name == QLatin1String("Home")
                                ? KZFilesUtilities::iconOfItem("/", QUrl(), QSize(42, 42))
                                : theme->imageForNames(KZVolumeKind::iconNames(volume.kind), 84);
        name->setData(icon, Qt::DecorationRole);
        name->setData(QVariant::fromValue<quint64>(volume.size), KZSizeRole);
        name->setData(volume.items, KZItemsCountRole);
        name->setData(volume.isDirectory, KZIsDirectoryRole);
        name->setData(volume.items == 0, KZIsInvisibleRole);

        auto *badge = new QStandardItem(KZLocalizedStrings::replaceContentOfString(
            QStringLiteral("%@ - %@"),
            {KZNumberUtilities::sharedControl().numberToFormatString(volume.checked),
             sizeText(volume.checkedSize)}));
        badge->setData(volume.checked, KZCheckedCountRole);
        model->appendRow({check, name, badge});
    }

    auto *table = new QTableView(this);
    styleTable(table);
    table->horizontalHeader()->hide();
    table->setModel(model);
    auto *checkCell = new KZTextFieldCell(table);
    checkCell->setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    table->setItemDelegateForColumn(0, checkCell);
    auto *nameCell = new KZImageAndTextCell(table);
    nameCell->setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    nameCell->setWriteSize(true);
    table->setItemDelegateForColumn(1, nameCell);
    auto *badgeCell = new KZTextGraficCenterJust(table);
    badgeCell->setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    table->setItemDelegateForColumn(2, badgeCell);
    table->verticalHeader()->setDefaultSectionSize(46);
    table->setColumnWidth(0, 28);
    table->setColumnWidth(2, 96);
    table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    return table;
}

QTableView *KZCellsDemo::makeItemList(int rowHeight, int dateColumnWidth)
{
    auto *model = new QStandardItemModel(0, 4, this);
    model->setHorizontalHeaderLabels(
        {QString(), QStringLiteral("Name"), QStringLiteral("Size"), QStringLiteral("Date Added")});
    const QDir dir(m_items.path());
    for (const SampleItem &item : kItems) {
        auto *check = new QStandardItem;
        check->setCheckable(true);
        check->setCheckState(item.size > 1'000'000 ? Qt::Checked : Qt::Unchecked);
        auto *name = new QStandardItem(item.name);
        const QByteArray path = QFile::encodeName(dir.filePath(item.name));
        name->setData(
            KZFilesUtilities::iconOfItem(QByteArray(), KZPath::urlFromPath(path), QSize(16, 16)),
            Qt::DecorationRole);
        name->setData(item.originalLocation, KZPathRole);
        auto *size = new QStandardItem(sizeText(item.size));
        auto *added = new QStandardItem;
        added->setData(secondsSince2001(item.added), KZSecondsRole);
        model->appendRow({check, name, size, added});
    }

    auto *table = new QTableView(this);
    styleTable(table);
    table->setAlternatingRowColors(true);
    table->setModel(model);
    // The base cell draws the tick boxes, so the whole row follows one selection colour rule.
    table->setItemDelegateForColumn(0, new KZTextFieldCell(table));
    table->setItemDelegateForColumn(1, new KZItemsImageAndTextCell(table));
    table->setItemDelegateForColumn(2, new KZTUTextCellRightJust(table));
    table->setItemDelegateForColumn(3, new KZTUDateCell(table));
    table->verticalHeader()->setDefaultSectionSize(rowHeight);
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->setColumnWidth(0, 28);
    table->setColumnWidth(2, 90);
    table->setColumnWidth(3, dateColumnWidth);
    table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    return table;
}

void KZCellsDemo::selectSampleRows()
{
    m_sourceList->selectRow(0);
    m_itemList->selectRow(1);
    m_compactList->selectRow(2);
    m_itemList->setFocus();
}
