#include "common/basic/Cloneable.h"
#include "common/basic/noncopyable.h"
#include "common/basic/value_ptr.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

using dovrel::value_ptr;

namespace {

/** Counts its clones and destructions. `destroy()` does not use the class's `delete`, so a count in
 * `deleted` shows that value_ptr did not call `destroy()`. */
class Record : public dovrel::Cloneable<Record> {
public:
    explicit Record(int value) : m_value(value) { ++living; }

    Record* clone() const override
    {
        if (cloneThrows)
            throw std::runtime_error("cannot be cloned");
        ++clones;
        return new Record(m_value);
    }

    void destroy() override
    {
        ++destroyed;
        --living;
        this->~Record();
        ::operator delete(this);
    }

    static void operator delete(void* block)
    {
        ++deleted;
        ::operator delete(block);
    }

    int value() const { return m_value; }

    static inline int living = 0;
    static inline int clones = 0;
    static inline int destroyed = 0;
    static inline int deleted = 0;
    static inline bool cloneThrows = false;

private:
    int m_value;
};

class ValuePtr : public testing::Test {
protected:
    ValuePtr()
    {
        Record::living = Record::clones = Record::destroyed = Record::deleted = 0;
        Record::cloneThrows = false;
    }

    ~ValuePtr() override
    {
        EXPECT_EQ(Record::living, 0);
        EXPECT_EQ(Record::deleted, 0);
    }
};

TEST_F(ValuePtr, isNullByDefaultAndOnePointerWide)
{
    value_ptr<Record> const none;
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_FALSE(none);
    EXPECT_EQ(sizeof none, sizeof(void*));
    EXPECT_FALSE((std::is_convertible_v<Record*, value_ptr<Record>>));
}

TEST_F(ValuePtr, ownsTheGivenObject)
{
    auto* const record = new Record(7);
    {
        value_ptr<Record> const owner(record);
        EXPECT_TRUE(owner);
        EXPECT_EQ(owner.get(), record);
        EXPECT_EQ(owner->value(), 7);
        EXPECT_EQ(&*owner, record);
        EXPECT_EQ(Record::destroyed, 0);
    }
    EXPECT_EQ(Record::destroyed, 1);
    EXPECT_EQ(Record::clones, 0);
}

TEST_F(ValuePtr, copiesByCloning)
{
    value_ptr<Record> const source(new Record(7));
    value_ptr<Record> copied(source);
    EXPECT_NE(copied.get(), source.get());
    EXPECT_EQ(copied->value(), 7);
    EXPECT_EQ(Record::clones, 1);
    value_ptr<Record> assigned(new Record(8));
    assigned = source;
    EXPECT_EQ(assigned->value(), 7);
    EXPECT_NE(assigned.get(), source.get());
    EXPECT_EQ(Record::clones, 2);
    EXPECT_EQ(Record::destroyed, 1);
}

TEST_F(ValuePtr, copiesNullAsNull)
{
    value_ptr<Record> const none;
    value_ptr<Record> const copied(none);
    EXPECT_FALSE(copied);
    value_ptr<Record> assigned(new Record(8));
    assigned = none;
    EXPECT_FALSE(assigned);
    EXPECT_EQ(Record::clones, 0);
    EXPECT_EQ(Record::destroyed, 1);
}

TEST_F(ValuePtr, transfersItsObjectWhenMoved)
{
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<value_ptr<Record>>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<value_ptr<Record>>);
    auto* const record = new Record(7);
    value_ptr<Record> source(record);
    value_ptr<Record> moved(std::move(source));
    EXPECT_EQ(moved.get(), record);
    EXPECT_FALSE(source);
    value_ptr<Record> assigned(new Record(8));
    assigned = std::move(moved);
    EXPECT_EQ(assigned.get(), record);
    EXPECT_FALSE(moved);
    EXPECT_EQ(Record::clones, 0);
    EXPECT_EQ(Record::destroyed, 1);
}

TEST_F(ValuePtr, supportsSelfAssignment)
{
    auto* const record = new Record(7);
    value_ptr<Record> owner(record);
    value_ptr<Record>& same = owner;
    owner = same;
    EXPECT_EQ(owner.get(), record);
    owner = std::move(same);
    EXPECT_EQ(owner.get(), record);
    owner.swap(same);
    EXPECT_EQ(owner.get(), record);
    EXPECT_EQ(Record::clones, 0);
    EXPECT_EQ(Record::destroyed, 0);
}

TEST_F(ValuePtr, keepsItsObjectWhenCloneThrows)
{
    value_ptr<Record> const source(new Record(7));
    auto* const record = new Record(8);
    value_ptr<Record> target(record);
    Record::cloneThrows = true;
    EXPECT_THROW(target = source, std::runtime_error);
    EXPECT_EQ(target.get(), record);
    EXPECT_EQ(target->value(), 8);
    EXPECT_THROW(value_ptr<Record>{source}, std::runtime_error);
    EXPECT_EQ(Record::destroyed, 0);
}

TEST_F(ValuePtr, destroysItsObjectOnReset)
{
    value_ptr<Record> owner(new Record(7));
    owner.reset();
    EXPECT_FALSE(owner);
    EXPECT_EQ(Record::destroyed, 1);
    owner.reset();
    EXPECT_EQ(Record::destroyed, 1);
}

TEST_F(ValuePtr, swapsWithoutCloning)
{
    value_ptr<Record> a(new Record(7));
    value_ptr<Record> b;
    swap(a, b);
    EXPECT_FALSE(a);
    EXPECT_EQ(b->value(), 7);
    a.swap(b);
    EXPECT_EQ(a->value(), 7);
    EXPECT_EQ(Record::clones, 0);
}

TEST_F(ValuePtr, isClonedWhenAVectorIsCopied)
{
    std::vector<value_ptr<Record>> copied;
    {
        std::vector<value_ptr<Record>> source;
        for (int i = 0; i < 20; ++i)
            source.push_back(i == 5 ? value_ptr<Record>() : value_ptr<Record>(new Record(i)));
        EXPECT_EQ(Record::clones, 0) << "a growing vector copied its records";
        copied = source;
    }
    EXPECT_EQ(Record::clones, 19);
    EXPECT_EQ(Record::destroyed, 19);
    ASSERT_EQ(copied.size(), 20U);
    EXPECT_FALSE(copied[5]);
    EXPECT_EQ(copied[19]->value(), 19);
}

/** Counts its destructions; destroys itself as the library's classes do. */
class Deletable : public dovrel::Cloneable<Deletable> {
public:
    ~Deletable() override { ++ended; }
    Deletable* clone() const override { return new Deletable(*this); }
    void destroy() override { dovrel::deleteUnlessNull(this); }

    static inline int ended = 0;
};

TEST(Cloneable, isDestroyedThroughItsVirtualDestructor)
{
    Deletable::ended = 0;
    dovrel::Cloneable<Deletable>* const object = new Deletable;
    Deletable* const copied = object->clone();
    object->destroy();
    EXPECT_EQ(Deletable::ended, 1);
    copied->destroy();
    EXPECT_EQ(Deletable::ended, 2);
}

TEST(Cloneable, isNotDeletedWhenNull)
{
    int object = 0;
    EXPECT_TRUE(dovrel::isNullObject(nullptr));
    EXPECT_FALSE(dovrel::isNullObject(&object));
    Deletable::ended = 0;
    dovrel::deleteUnlessNull(static_cast<Deletable*>(nullptr));
    EXPECT_EQ(Deletable::ended, 0);
}

class Owner : dovrel::noncopyable_::noncopyable { };
class Reference : dovrel::nonassignable_::nonassignable { };

TEST(Noncopyable, cannotBeCopiedOrAssigned)
{
    EXPECT_FALSE(std::is_copy_constructible_v<Owner>);
    EXPECT_FALSE(std::is_copy_assignable_v<Owner>);
    EXPECT_TRUE(std::is_default_constructible_v<Owner>);
}

TEST(Nonassignable, canBeCopiedButNotAssigned)
{
    EXPECT_TRUE(std::is_copy_constructible_v<Reference>);
    EXPECT_FALSE(std::is_copy_assignable_v<Reference>);
    EXPECT_TRUE(std::is_default_constructible_v<Reference>);
}

}
