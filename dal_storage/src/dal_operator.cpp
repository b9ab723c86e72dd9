// The operator request table. Lock order and item states: dal_operator_table.h.
#include <mutex>

#include "dal_operator.h"
#include "dal_operator_table.h"

using ItemGuard = std::lock_guard<os_critical_section>;

// ---------------------------------------------------------------------------
// Keys and the public view of an item.

CFnx_Dal_OperatorItemID::CFnx_Dal_OperatorItemID() : m_type(0) {}

CFnx_Dal_OperatorItemID::CFnx_Dal_OperatorItemID(std::int32_t type, const std::string& name,
                                                 const std::string& das_name)
    : m_type(type), m_name(name), m_das_name(das_name) {}

CFnx_Dal_OperatorItemID::CFnx_Dal_OperatorItemID(const CFnx_Dal_OperatorItemID& other) = default;
CFnx_Dal_OperatorItemID& CFnx_Dal_OperatorItemID::operator=(const CFnx_Dal_OperatorItemID& other) = default;
CFnx_Dal_OperatorItemID::~CFnx_Dal_OperatorItemID() = default;

bool CFnx_Dal_OperatorItemID::operator<(const CFnx_Dal_OperatorItemID& other) const {
  if (m_type != other.m_type) return m_type < other.m_type;
  return m_name < other.m_name;  // char_traits<char> compares as unsigned bytes
}

std::int32_t CFnx_Dal_OperatorItemID::getType() const { return m_type; }
std::string CFnx_Dal_OperatorItemID::getName() const { return m_name; }
std::string CFnx_Dal_OperatorItemID::getDasName() const { return m_das_name; }

CFnx_Dal_OperatorItemInfo::CFnx_Dal_OperatorItemInfo() : m_waiting(false) {}

CFnx_Dal_OperatorItemInfo::CFnx_Dal_OperatorItemInfo(const CFnx_Dal_OperatorItemID& id)
    : CFnx_Dal_OperatorItemID(id), m_waiting(false) {}

CFnx_Dal_OperatorItemInfo::CFnx_Dal_OperatorItemInfo(const CFnx_Dal_OperatorItemInfo& other) = default;
CFnx_Dal_OperatorItemInfo& CFnx_Dal_OperatorItemInfo::operator=(const CFnx_Dal_OperatorItemInfo& other) = default;
CFnx_Dal_OperatorItemInfo::~CFnx_Dal_OperatorItemInfo() = default;

bool CFnx_Dal_OperatorItemInfo::operator==(const CFnx_Dal_OperatorItemInfo& other) const {
  return m_text == other.m_text && m_waiting == other.m_waiting && m_options == other.m_options;
}

std::string CFnx_Dal_OperatorItemInfo::getText() const { return m_text; }
bool CFnx_Dal_OperatorItemInfo::getWaitingResponce() const { return m_waiting; }
const std::list<std::string>& CFnx_Dal_OperatorItemInfo::getOptions() const { return m_options; }

// ---------------------------------------------------------------------------
// The live item.

CFnx_Dal_OperatorItemInfo CFnx_Dal_OperatorItem::Snapshot() {
  ItemGuard guard(m_item_lock);
  return CFnx_Dal_OperatorItemInfo(*this);
}

void CFnx_Dal_OperatorItem::Ask(const std::string& question, const std::list<std::string>& options,
                                std::uint32_t& answer) {
  {
    // Question and options change together, so a console never sees one
    // without the other.
    ItemGuard guard(m_item_lock);
    m_text = question;
    m_options = options;
  }
  m_answer_event.reset();  // an answer posted before this question is discarded
  {
    ItemGuard guard(m_item_lock);
    m_waiting = true;
  }
  m_answer_event.wait();
  m_answer_event.reset();
  ItemGuard guard(m_item_lock);
  m_waiting = false;
  answer = m_responce;
  m_text.clear();
  m_options.clear();
}

void CFnx_Dal_OperatorItem::Answer(std::uint32_t answer) {
  {
    ItemGuard guard(m_item_lock);
    m_responce = answer;
  }
  m_answer_event.post();
}

bool CFnx_Dal_OperatorItem::IsWaiting() {
  ItemGuard guard(m_item_lock);
  return m_waiting;
}

std::string CFnx_Dal_OperatorItem::Text() {
  ItemGuard guard(m_item_lock);
  return m_text;
}

void CFnx_Dal_OperatorItem::SetText(const std::string& text) {
  ItemGuard guard(m_item_lock);
  m_text = text;
}

// ---------------------------------------------------------------------------
// The table.

CFnx_Dal_OperatorTable::~CFnx_Dal_OperatorTable() {
  ItemGuard guard(m_table_lock);
  for (auto& entry : m_items) entry.second.reset();
}

CFnx_Dal_OperatorItem& CFnx_Dal_OperatorTable::FindOrAdd(const CFnx_Dal_OperatorItemID& id) {
  auto found = m_items.find(id);
  if (found == m_items.end()) {
    found = m_items.emplace(id, std::make_unique<CFnx_Dal_OperatorItem>(id)).first;
  }
  return *found->second;
}

CFnx_Dal_OperatorItem* CFnx_Dal_OperatorTable::Lookup(const CFnx_Dal_OperatorItemID& id) {
  ItemGuard guard(m_table_lock);
  return &FindOrAdd(id);
}

void CFnx_Dal_OperatorTable::Add(const CFnx_Dal_OperatorItemID& id) {
  ItemGuard guard(m_table_lock);
  FindOrAdd(id);
}

void CFnx_Dal_OperatorTable::List(std::list<CFnx_Dal_OperatorItemInfo>& items) {
  std::list<CFnx_Dal_OperatorItemInfo> copies;
  {
    ItemGuard guard(m_table_lock);
    for (const auto& entry : m_items) copies.push_back(entry.second->Snapshot());  // table, then item
  }
  items.swap(copies);
}

// ---------------------------------------------------------------------------
// The face.

namespace {

void ReleaseFace(CFnx_Dal_OperatorTable*& table) {
  if (table != nullptr && table->RemoveFace()) delete table;
  table = nullptr;
}

}  // namespace

CFnx_Dal_Operator::CFnx_Dal_Operator() : m_table(new CFnx_Dal_OperatorTable) {}

CFnx_Dal_Operator::CFnx_Dal_Operator(const CFnx_Dal_Operator& other) : m_table(other.m_table) {
  m_table->AddFace();
}

CFnx_Dal_Operator& CFnx_Dal_Operator::operator=(const CFnx_Dal_Operator& other) {
  if (m_table != other.m_table) {
    other.m_table->AddFace();
    ReleaseFace(m_table);
    m_table = other.m_table;
  }
  return *this;
}

CFnx_Dal_Operator::~CFnx_Dal_Operator() { ReleaseFace(m_table); }

void CFnx_Dal_Operator::AddItem(const CFnx_Dal_OperatorItemID& id) { m_table->Add(id); }

void CFnx_Dal_Operator::ListItems(std::list<CFnx_Dal_OperatorItemInfo>& items) { m_table->List(items); }

void CFnx_Dal_Operator::AskOperator(const CFnx_Dal_OperatorItemID& id, const std::string& question,
                                    const std::list<std::string>& options, std::uint32_t& answer) {
  m_table->Lookup(id)->Ask(question, options, answer);
}

void CFnx_Dal_Operator::SetOperatorResponce(const CFnx_Dal_OperatorItemID& id, std::uint32_t answer) {
  m_table->Lookup(id)->Answer(answer);
}

bool CFnx_Dal_Operator::IsWaitingOperatorResponce(const CFnx_Dal_OperatorItemID& id) {
  return m_table->Lookup(id)->IsWaiting();
}

std::string CFnx_Dal_Operator::getOperatorMsg(const CFnx_Dal_OperatorItemID& id) {
  return m_table->Lookup(id)->Text();
}

void CFnx_Dal_Operator::setOperatorMsg(const CFnx_Dal_OperatorItemID& id, const std::string& text) {
  m_table->Lookup(id)->SetText(text);
}

// ---------------------------------------------------------------------------
// The process-wide face.

CFnx_Dal_Operator* CFnx_Dal_OperatorSingelton::pFnx_Dal_Operator = nullptr;

CFnx_Dal_Operator& CFnx_Dal_OperatorSingelton::Get() {
  // Two threads may make the first call at once; call_once makes one table.
  static std::once_flag made;
  std::call_once(made, [] { pFnx_Dal_Operator = new CFnx_Dal_Operator(); });
  return *pFnx_Dal_Operator;
}
