#pragma once
// The operator request table: how a tape backup or restore, running on a
// thread of the host, talks to a human through a console thread of the same
// process. One item per key holds the line the console shows, the answers
// offered and whether a thread is blocked waiting for the human.
//
// The tape device calls AskOperator and setOperatorMsg; the console calls
// ListItems, getOperatorMsg, IsWaitingOperatorResponce, SetOperatorResponce
// and AddItem. Every member is thread-safe. Every member that takes an id
// makes an empty item for it when there is none: items are never removed.
// One asker per key at a time: a key has one text, one list of options and
// one answer, and no queue.
#include <cstdint>
#include <list>
#include <string>

#include "fnx_export.h"

// The key of an item: ordered by type, then by name; the DAS name is carried
// along and never compared.
class FNX_API CFnx_Dal_OperatorItemID {
 public:
  CFnx_Dal_OperatorItemID();  // type 0, empty names
  CFnx_Dal_OperatorItemID(std::int32_t type, const std::string& name, const std::string& das_name);
  CFnx_Dal_OperatorItemID(const CFnx_Dal_OperatorItemID& other);
  CFnx_Dal_OperatorItemID& operator=(const CFnx_Dal_OperatorItemID& other);
  ~CFnx_Dal_OperatorItemID();

  // Type as a signed number, then name byte by byte (a prefix sorts first).
  bool operator<(const CFnx_Dal_OperatorItemID& other) const;

  std::int32_t getType() const;
  std::string getName() const;
  std::string getDasName() const;

 private:
  std::int32_t m_type;
  std::string m_name;
  std::string m_das_name;
};

// A copy of an item as the console sees it.
class FNX_API CFnx_Dal_OperatorItemInfo : public CFnx_Dal_OperatorItemID {
 public:
  CFnx_Dal_OperatorItemInfo();  // empty id, text and options; not waiting
  explicit CFnx_Dal_OperatorItemInfo(const CFnx_Dal_OperatorItemID& id);
  CFnx_Dal_OperatorItemInfo(const CFnx_Dal_OperatorItemInfo& other);
  CFnx_Dal_OperatorItemInfo& operator=(const CFnx_Dal_OperatorItemInfo& other);
  ~CFnx_Dal_OperatorItemInfo();

  // Text, waiting flag and options alike; the ids are not compared.
  bool operator==(const CFnx_Dal_OperatorItemInfo& other) const;

  std::string getText() const;                       // status line or question; may be empty
  bool getWaitingResponce() const;                   // a thread waits in AskOperator
  const std::list<std::string>& getOptions() const;  // the answers offered, in order

 protected:
  std::string m_text;
  bool m_waiting;
  std::list<std::string> m_options;
};

class CFnx_Dal_OperatorTable;

// The face of a table. Copies address the same table, which lives until the
// last face that addresses it is destroyed.
class FNX_API CFnx_Dal_Operator {
 public:
  CFnx_Dal_Operator();  // a new, empty table
  CFnx_Dal_Operator(const CFnx_Dal_Operator& other);
  CFnx_Dal_Operator& operator=(const CFnx_Dal_Operator& other);
  // REQUIRES: no thread is inside a member of the last face of a table.
  virtual ~CFnx_Dal_Operator();

  // Makes an empty item for id unless there is one; an existing item, with
  // its DAS name, stays as it is.
  void AddItem(const CFnx_Dal_OperatorItemID& id);
  // Replaces the content of items with a copy of every item, ordered by key.
  void ListItems(std::list<CFnx_Dal_OperatorItemInfo>& items);
  // Shows question with options on the item of id and blocks, without a time
  // limit, until SetOperatorResponce posts an answer for id; an answer posted
  // before the question is discarded. answer receives the number posted, by
  // convention a zero-based index into options. On return the item shows no
  // text and no options and is not waiting.
  void AskOperator(const CFnx_Dal_OperatorItemID& id, const std::string& question,
                   const std::list<std::string>& options, std::uint32_t& answer);
  // Stores answer and releases the thread waiting on id. With none waiting,
  // the answer is lost to the next question: answer only items seen waiting.
  void SetOperatorResponce(const CFnx_Dal_OperatorItemID& id, std::uint32_t answer);
  bool IsWaitingOperatorResponce(const CFnx_Dal_OperatorItemID& id);
  std::string getOperatorMsg(const CFnx_Dal_OperatorItemID& id);
  // Replaces the item's text; blocks nobody, leaves flag and options.
  void setOperatorMsg(const CFnx_Dal_OperatorItemID& id, const std::string& text);

 private:
  CFnx_Dal_OperatorTable* m_table;  // never null while the face lives
};

// The holder of the process-wide table.
class FNX_API CFnx_Dal_OperatorSingelton {
 public:
  // The process-wide face, made by the first call from whichever thread; it
  // lives until the process ends.
  static CFnx_Dal_Operator& Get();

  CFnx_Dal_OperatorSingelton& operator=(const CFnx_Dal_OperatorSingelton&) { return *this; }

 private:
  static CFnx_Dal_Operator* pFnx_Dal_Operator;  // null until the first Get
};
