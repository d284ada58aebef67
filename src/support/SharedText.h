#pragma once

#include <atomic>

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
    struct Node
    {
        std::atomic<int> nRefs;
        QString strText;
    };
    void Release();

    // Null for the empty text, so that the many empty fields cost nothing more.
    Node* m_pNode = nullptr;
};
