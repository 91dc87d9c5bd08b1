// QT atom containers: a tree of typed, numbered atoms in one handle, laid out as the QuickTime
// file format documents it (container header, then one root atom whose children are the
// container's top-level atoms; all fields big-endian). An atom is named by its byte offset in
// the handle, so any edit of the container may move the atoms after the edited one.
#pragma once

#include <Carbon/MacErrors.h>
#include <Carbon/MacMemory.h>
#include <Carbon/MacTypes.h>

// QuickTime's "long" fields are 32-bit here.
typedef SInt32 QTAtom;
typedef SInt32 QTAtomType;
typedef SInt32 QTAtomID;
typedef Handle QTAtomContainer;

// As a parent atom: the container itself (its root).
constexpr QTAtom kParentAtomIsContainer = 0;

// Result codes of the atom calls are in <Carbon/MacErrors.h>.

// Every call checks the whole container first, so a handle that came from outside (decoded
// settings text, file contents) can be passed to any of them: a malformed one gives
// invalidAtomContainerErr (or 0 / no atom from the finding calls) and nothing is read out of
// bounds. Editing calls on a locked container give memLockedErr.

OSErr QTNewAtomContainer(QTAtomContainer* atomData);
// noErr when the handle holds one well-formed container, else invalidAtomContainerErr (paramErr
// for null): for checking a container from outside before reading it.
OSErr VqtCheckAtomContainer(QTAtomContainer container);
OSErr QTDisposeAtomContainer(QTAtomContainer atomData);

// id 0 picks an ID not used by the parent's children of that type; index 0 (or count + 1)
// appends after the last child of that type. A leaf that holds data cannot take children
// (invalidAtomErr). `data` may be null: the new atom's data is then zero-filled.
OSErr QTInsertChild(QTAtomContainer container, QTAtom parentAtom, QTAtomType atomType, QTAtomID id, short index,
                    SInt32 dataSize, const void* data, QTAtom* newAtom);
// Copies every top-level atom of `childrenContainer`, with its children, to the end of
// `parentAtom`'s children.
OSErr QTInsertChildren(QTAtomContainer container, QTAtom parentAtom, QTAtomContainer childrenContainer);

// 0 when there is no such child. Indexes count from 1 among the children of one type.
QTAtom QTFindChildByID(QTAtomContainer container, QTAtom parentAtom, QTAtomType atomType, QTAtomID id, short* index);
QTAtom QTFindChildByIndex(QTAtomContainer container, QTAtom parentAtom, QTAtomType atomType, short index, QTAtomID* id);
// childType 0 counts the children of every type.
short QTCountChildrenOfType(QTAtomContainer container, QTAtom parentAtom, QTAtomType childType);
// The child types in order of first appearance: 0 gives the first, the last gives 0.
QTAtomType QTGetNextChildType(QTAtomContainer container, QTAtom parentAtom, QTAtomType currentChildType);
OSErr QTGetAtomTypeAndID(QTAtomContainer container, QTAtom atom, QTAtomType* atomType, QTAtomID* id);

// A pointer to a leaf atom's data inside the handle; valid until the container is edited or
// disposed of (lock the container to keep it from being edited meanwhile).
OSErr QTGetAtomDataPtr(QTAtomContainer container, QTAtom atom, SInt32* dataSize, Ptr* atomData);
// Copies a leaf's data. More data than `size` fails (paramErr, nothing copied); less fails
// too unless sizeOrLessOK. actualSize receives the atom's data size either way.
OSErr QTCopyAtomDataToPtr(QTAtomContainer container, QTAtom atom, Boolean sizeOrLessOK, SInt32 size, void* targetPtr,
                          SInt32* actualSize);
// Replaces a leaf's data (notLeafAtomErr for an atom with children).
OSErr QTSetAtomData(QTAtomContainer container, QTAtom atom, SInt32 dataSize, const void* atomData);
OSErr QTSetAtomID(QTAtomContainer container, QTAtom atom, QTAtomID newID);
// Removes an atom with all its children.
OSErr QTRemoveAtom(QTAtomContainer container, QTAtom atom);

// The lock count lives in the container header; while it is above zero the container cannot be
// edited. Unlocking an unlocked container changes nothing.
OSErr QTLockContainer(QTAtomContainer container);
OSErr QTUnlockContainer(QTAtomContainer container);
