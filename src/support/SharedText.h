#pragma once

#include <atomic>
#include <vector>

#include <QHash>
#include <QString>

// An immutable text held by many owners at the cost of one pointer each, where a QString costs three: the
// tree's items repeat their folder's path, their size and their minute thousands of times over. Copies share
// one text; whoever makes a text once and hands out copies of it gets the sharing. The count is atomic, so
// copies may be made and dropped on any thread.
class CSharedText
{
public:
    CSharedText() = default;
    // Implicit, as the QString it stands in for would take one.
    CSharedText(const QString& strText);
    CSharedText(const CSharedText& other);
    CSharedText(CSharedText&& other) noexcept;
    CSharedText& operator=(const CSharedText& other);
    CSharedText& operator=(CSharedText&& other) noexcept;
    ~CSharedText();

    [[nodiscard]] const QString& Text() const;
    operator const QString&() const { return Text(); }
    [[nodiscard]] bool IsEmpty() const { return m_pNode == nullptr; }
    void Clear();

    friend bool operator==(const CSharedText& a, const CSharedText& b)
    {
        return a.m_pNode == b.m_pNode || a.Text() == b.Text();
    }
    friend bool operator==(const CSharedText& a, const QString& b) { return a.Text() == b; }
    friend bool operator==(const CSharedText& a, QLatin1String b) { return a.Text() == b; }

private:
    friend class CSharedTextSource;
    struct Node
    {
        std::atomic<int> nRefs;
        QString strText;
    };
    // Takes over a count already paid for.
    explicit CSharedText(Node* pNode)
        : m_pNode(pNode)
    { }
    void Release();

    // Null for the empty text, so that the many empty fields cost nothing more.
    Node* m_pNode = nullptr;
};

// Hands out copies of one text on one thread, paying for them in the text's count a batch at a time: a
// scan gives the same size, minute or folder to thousands of entries, and a count written for each would
// stall the writing thread every time. What is not handed out is paid back when the source goes.
class CSharedTextSource
{
public:
    CSharedTextSource() = default;
    explicit CSharedTextSource(CSharedText text)
        : m_text(std::move(text))
    { }
    CSharedTextSource(CSharedTextSource&& other) noexcept;
    CSharedTextSource& operator=(CSharedTextSource&& other) noexcept;
    CSharedTextSource(const CSharedTextSource&) = delete;
    CSharedTextSource& operator=(const CSharedTextSource&) = delete;
    ~CSharedTextSource();

    [[nodiscard]] CSharedText Copy();

private:
    void PayBack();

    CSharedText m_text;
    int m_nPaid = 0;
};

// The texts a scan shares by key (a size, a marker's text), each made once and handed out through its own
// source. Past a bound the table starts again, which costs sharing, never correctness.
template <typename Key> class CSharedTextTable
{
public:
    // A copy of the text for the key, made by makeText the first time.
    template <typename MakeText> CSharedText Copy(const Key& key, const MakeText& makeText)
    {
        auto it = m_index.constFind(key);
        if (it == m_index.constEnd()) {
            if (m_sources.size() >= kMaxTexts) {
                m_index.clear();
                m_sources.clear();
            }
            it = m_index.insert(key, m_sources.size());
            m_sources.emplace_back(CSharedText(makeText()));
        }
        return m_sources[*it].Copy();
    }

private:
    static constexpr size_t kMaxTexts = 1 << 16;

    // The sources stand apart from the index, side by side: the index finds a key without visiting them.
    QHash<Key, size_t> m_index;
    std::vector<CSharedTextSource> m_sources;
};
