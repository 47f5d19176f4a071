#pragma once

#include <QByteArray>

#include <vector>

// The generated Trashes the comparison benches time Binwise and the stock tools on. Every
// bench builds the same shapes so that their numbers can be set side by side.
class KZBenchTree
{
public:
    // Makes TRASH/files and TRASH/info (mode 0700), as a volume's Trash has them.
    void makeTrashFolders(const QByteArray &trash);
    // About 100,000 entries under TRASH/files: flat and wide folders, deep chains, links of
    // every kind (inside, outside, dangling, hard), dot-files and a dot-folder. With withInfo
    // each top-level item gets its info file.
    void generateMixed(const QByteArray &trash, bool withInfo);
    // 20,000 top-level files, each with its info file.
    void generateFlat(const QByteArray &trash);

    // Entries made since the last reset (failed creations are not counted).
    [[nodiscard]] int entries() const { return m_entries; }
    void resetCount() { m_entries = 0; }

    [[nodiscard]] static double median(std::vector<double> values);
    // Bytes allocated to the folders themselves, root included: what du counts and a Trash's
    // size leaves out.
    [[nodiscard]] static quint64 folderBlocks(const QByteArray &root);

private:
    void makeFolder(const QByteArray &path);
    void makeFile(const QByteArray &path, int bytes);
    void makeLink(const QByteArray &target, const QByteArray &path, bool hard);
    static void makeInfo(const QByteArray &trash, const QByteArray &name);

    int m_entries = 0;
};
