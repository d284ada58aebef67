#include "support/SharedText.h"

#include <utility>

CSharedText::CSharedText(const QString& strText)
    : m_pNode(strText.isEmpty() ? nullptr : new Node { { 1 }, strText })
{ }

CSharedText::CSharedText(const CSharedText& other)
    : m_pNode(other.m_pNode)
{
    if (m_pNode != nullptr) {
        m_pNode->nRefs.fetch_add(1, std::memory_order_relaxed);
    }
}

CSharedText::CSharedText(CSharedText&& other) noexcept
    : m_pNode(std::exchange(other.m_pNode, nullptr))
{ }

CSharedText& CSharedText::operator=(const CSharedText& other)
{
    if (m_pNode != other.m_pNode) {
        CSharedText copy(other);
        std::swap(m_pNode, copy.m_pNode);
    }
    return *this;
}

CSharedText& CSharedText::operator=(CSharedText&& other) noexcept
{
    if (this != &other) {
        Release();
        m_pNode = std::exchange(other.m_pNode, nullptr);
    }
    return *this;
}

CSharedText::~CSharedText()
{
    Release();
}

const QString& CSharedText::Text() const
{
    static const QString kEmpty;
    return m_pNode != nullptr ? m_pNode->strText : kEmpty;
}

void CSharedText::Clear()
{
    Release();
}

void CSharedText::Release()
{
    // The last owner must see every write the others made before they let go.
    if (m_pNode != nullptr && m_pNode->nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete m_pNode;
    }
    m_pNode = nullptr;
}

namespace {

// Copies paid for at once: far fewer writes of a shared count, and far from its limit.
constexpr int kCopiesPaidAtOnce = 1024;

} // namespace

CSharedTextSource::CSharedTextSource(CSharedTextSource&& other) noexcept
    : m_text(std::move(other.m_text))
    , m_nPaid(std::exchange(other.m_nPaid, 0))
{ }

CSharedTextSource& CSharedTextSource::operator=(CSharedTextSource&& other) noexcept
{
    if (this != &other) {
        PayBack();
        m_text = std::move(other.m_text);
        m_nPaid = std::exchange(other.m_nPaid, 0);
    }
    return *this;
}

CSharedTextSource::~CSharedTextSource()
{
    PayBack();
}

CSharedText CSharedTextSource::Copy()
{
    CSharedText::Node* pNode = m_text.m_pNode;
    if (pNode == nullptr) {
        return {};
    }
    if (m_nPaid == 0) {
        pNode->nRefs.fetch_add(kCopiesPaidAtOnce, std::memory_order_relaxed);
        m_nPaid = kCopiesPaidAtOnce;
    }
    --m_nPaid;
    return CSharedText(pNode);
}

void CSharedTextSource::PayBack()
{
    // The source's own copy keeps the count above what it pays back.
    if (m_nPaid > 0) {
        m_text.m_pNode->nRefs.fetch_sub(m_nPaid, std::memory_order_acq_rel);
        m_nPaid = 0;
    }
}
