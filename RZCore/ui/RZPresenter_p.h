#pragma once
// State of presenters. Not installed.

#include <RZCore/app/RZObject.h>
#include <RZCore/ui/RZPresenter.h>

class RZPresenterPrivate
{
public:
    RZUIView* m_pView = nullptr; // not owned
};

class RZActionPresenterPrivate
{
public:
    RZSubject<IRZActionPresenterCallback> callbacks;
};
