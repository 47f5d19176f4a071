#include "KZBenchTree.h"

#include "model/KZDirectoryWalker.h"
#include "model/KZFileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

// Mostly empty files, like a real Trash's clutter, with a tenth holding a few kilobytes.
int sizeFor(int i)
{
    return i % 10 == 0 ? 1000 + (i * 37) % 9000 : (i % 3 == 0 ? 100 : 0);
}

bool writeAll(int fd, const QByteArray &data)
{
    if (::write(fd, data.constData(), size_t(data.size())) == data.size())
        return true;
    std::perror("write");
    return false;
}

} // namespace

void KZBenchTree::makeFolder(const QByteArray &path)
{
    if (::mkdir(path.constData(), 0755) == 0)
        ++m_entries;
}

void KZBenchTree::makeFile(const QByteArray &path, int bytes)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    if (bytes > 0)
        writeAll(fd, QByteArray(bytes, 'b'));
    ::close(fd);
    ++m_entries;
}

void KZBenchTree::makeLink(const QByteArray &target, const QByteArray &path, bool hard)
{
    if ((hard ? ::link(target.constData(), path.constData())
              : ::symlink(target.constData(), path.constData()))
        == 0)
        ++m_entries;
}

void KZBenchTree::makeInfo(const QByteArray &trash, const QByteArray &name)
{
    const int fd = ::open((trash + "/info/" + name + ".trashinfo").constData(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    writeAll(fd, "[Trash Info]\nPath=/home/user/" + name.toPercentEncoding("/")
                     + "\nDeletionDate=2024-03-05T10:20:30\n");
    ::close(fd);
}

void KZBenchTree::makeTrashFolders(const QByteArray &trash)
{
    for (const QByteArray &folder : {trash, trash + "/files", trash + "/info"})
        ::mkdir(folder.constData(), 0700);
}

void KZBenchTree::generateMixed(const QByteArray &trash, bool withInfo)
{
    const QByteArray files = trash + "/files";
    const auto topLevel = [&](const QByteArray &name) {
        if (withInfo)
            makeInfo(trash, name);
        return files + '/' + name;
    };
    // Flat folders: 20 folders of 2,250 files.
    for (int f = 0; f < 20; ++f) {
        const QByteArray folder = topLevel("flat" + QByteArray::number(f));
        makeFolder(folder);
        for (int i = 0; i < 2250; ++i)
            makeFile(folder + "/file" + QByteArray::number(i) + ".txt", sizeFor(i));
    }
    // One wide folder of 30,000 files, a dot-file in every tenth place.
    const QByteArray wide = topLevel("wide");
    makeFolder(wide);
    for (int i = 0; i < 30000; ++i)
        makeFile(wide + (i % 10 == 0 ? "/.dot" : "/entry") + QByteArray::number(i), sizeFor(i));
    // Deep folders: 50 chains of 200 levels, one file per level.
    for (int chain = 0; chain < 50; ++chain) {
        QByteArray path = topLevel("deep" + QByteArray::number(chain));
        makeFolder(path);
        for (int level = 0; level < 200; ++level) {
            path += "/d";
            makeFolder(path);
            makeFile(path + (level % 5 == 0 ? "/.hidden-note" : "/note"), sizeFor(level));
        }
    }
    // Symbolic links (outside, inside, dangling) and hard links.
    const QByteArray links = topLevel("links");
    makeFolder(links);
    for (int i = 0; i < 5000; ++i) {
        const QByteArray target = i % 3 == 0   ? QByteArray("/usr")
                                  : i % 3 == 1 ? wide + "/entry1"
                                               : QByteArray("/no/such/target");
        makeLink(target, links + "/link" + QByteArray::number(i), false);
    }
    for (int i = 0; i < 1000; ++i)
        makeLink(files + "/flat0/file" + QByteArray::number(i) + ".txt",
                 links + "/hard" + QByteArray::number(i), true);
    // Dot-files and a dot-folder at the top.
    for (int i = 0; i < 2000; ++i)
        makeFile(topLevel(".dotfile" + QByteArray::number(i)), sizeFor(i));
    const QByteArray dotFolder = topLevel(".dotfolder");
    makeFolder(dotFolder);
    for (int i = 0; i < 100; ++i)
        makeFile(dotFolder + "/f" + QByteArray::number(i), sizeFor(i));
}

void KZBenchTree::generateFlat(const QByteArray &trash)
{
    for (int i = 0; i < 20000; ++i) {
        const QByteArray name = "item " + QByteArray::number(i) + ".dat";
        makeFile(trash + "/files/" + name, sizeFor(i));
        makeInfo(trash, name);
    }
}

double KZBenchTree::median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

quint64 KZBenchTree::folderBlocks(const QByteArray &root)
{
    quint64 total = 0;
    struct stat st = {};
    if (::lstat(root.constData(), &st) == 0)
        total += quint64(st.st_blocks) * 512;
    KZDirectoryWalker walker(KZFileManager::defaultManager());
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        if (entry.type != DT_DIR)
            return KZDirectoryWalker::Action::Continue;
        struct stat folder = {};
        if (::fstatat(entry.dirfd, entry.name, &folder, AT_SYMLINK_NOFOLLOW) == 0)
            total += quint64(folder.st_blocks) * 512;
        return KZDirectoryWalker::Action::Descend;
    };
    walker.walk(::open(root.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return total;
}
