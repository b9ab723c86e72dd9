#pragma once
// The live items of the operator request table and the table that holds them.
//
// Locks, in the only order in which they are ever taken:
//
//     m_table_lock  (the map: insert, search, walks)
//          |
//          v
//     m_item_lock   (one item: text, waiting flag, options, responce)
//
// Lookups release the table lock before they touch an item, so only ListItems
// and the destructor hold both, and always table first. No lock is held while
// a thread waits for its answer: the answer event is reset, waited on and
// posted outside the item lock.
//
// State of an item, for one key (AskOperator's steps):
//
//     idle --(text, options)--> asking --(reset event, flag)--> waiting
//       ^                                                          |
//       |                                               post (SetOperatorResponce)
//       |                                                          v
//       +---------(flag off, read responce, clear text/options)-- answered
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

#include "dal_operator.h"
#include "os_sync.h"

class CFnx_Dal_OperatorItem : public CFnx_Dal_OperatorItemInfo {
 public:
  explicit CFnx_Dal_OperatorItem(const CFnx_Dal_OperatorItemID& id) : CFnx_Dal_OperatorItemInfo(id) {}
  CFnx_Dal_OperatorItem(const CFnx_Dal_OperatorItem&) = delete;
  CFnx_Dal_OperatorItem& operator=(const CFnx_Dal_OperatorItem&) = delete;

  // A consistent copy of the public part, taken under the item lock.
  CFnx_Dal_OperatorItemInfo Snapshot();

  void Ask(const std::string& question, const std::list<std::string>& options, std::uint32_t& answer);
  void Answer(std::uint32_t answer);
  bool IsWaiting();
  std::string Text();
  void SetText(const std::string& text);

 private:
  // Members are destroyed item lock first, then the event, then the public part.
  os_event_semaphore m_answer_event{false};  // posted by the console, waited on by the asker
  os_critical_section m_item_lock{false};    // guards m_text, m_waiting, m_options, m_responce
  std::uint32_t m_responce = 0;              // the last answer; never cleared
};

class CFnx_Dal_OperatorTable {
 public:
  CFnx_Dal_OperatorTable() = default;
  CFnx_Dal_OperatorTable(const CFnx_Dal_OperatorTable&) = delete;
  CFnx_Dal_OperatorTable& operator=(const CFnx_Dal_OperatorTable&) = delete;
  ~CFnx_Dal_OperatorTable();

  // The item of id, made when missing. Items are never removed, so the
  // pointer stays good after the table lock is released.
  CFnx_Dal_OperatorItem* Lookup(const CFnx_Dal_OperatorItemID& id);
  void Add(const CFnx_Dal_OperatorItemID& id);
  void List(std::list<CFnx_Dal_OperatorItemInfo>& items);

  // The faces that address this table; the last one to go destroys it.
  void AddFace() { m_faces.fetch_add(1, std::memory_order_relaxed); }
  // True when the caller was the last face.
  bool RemoveFace() { return m_faces.fetch_sub(1, std::memory_order_acq_rel) == 1; }

 private:
  // Makes the item of id unless there is one. REQUIRES: m_table_lock held.
  CFnx_Dal_OperatorItem& FindOrAdd(const CFnx_Dal_OperatorItemID& id);

  os_critical_section m_table_lock{false};  // guards m_items
  std::map<CFnx_Dal_OperatorItemID, std::unique_ptr<CFnx_Dal_OperatorItem>> m_items;
  std::atomic<int> m_faces{1};
};
