<#
.SYNOPSIS
Installs, checks, upgrades or removes TaviLumbraService from this package.

.DESCRIPTION
Run from an elevated PowerShell, in the unpacked package:

    .\install.ps1                    installs and starts the service, then checks it
    .\install.ps1 -Action Check      what is installed, whether it runs and answers
    .\install.ps1 -Action Upgrade    replaces the programs and keeps service and databases
    .\install.ps1 -Action Remove     stops and removes the service and its programs

Remove runs the service's own /uninstall, which also deletes the databases below %APPDATA%\ZenloTavi of the account that
runs it. Logs stay unless -RemoveLogs is given. Exit code 0 when the action succeeded, otherwise 1.
#>
[CmdletBinding()]
param(
    [ValidateSet('Install', 'Check', 'Upgrade', 'Remove')]
    [string]$Action = 'Install',
    [string]$Folder = (Join-Path $env:ProgramFiles 'TaviLumbraService'),
    [switch]$RemoveLogs
)

Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'
$serviceName = 'TaviLumbraService'
$source = Join-Path $PSScriptRoot 'bin'
$stopSeconds = 600   # how long a stop may take: docs/rolling-out.md
$copyAttempts = 30   # one a second
$programs = 'TaviLumbraService.exe', 'TaviListenClient.exe', 'TaviReplay.exe'

function Assert-Administrator {
    $identity = [Security.Principal.WindowsIdentity]::GetCurrent()
    $principal = New-Object Security.Principal.WindowsPrincipal($identity)
    if (-not $principal.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
        throw 'Run this from an elevated PowerShell (Run as administrator).'
    }
}

function Get-InstalledService {
    Get-Service -Name $serviceName -ErrorAction SilentlyContinue
}

# The service's executable always exits with 0; whether it did what it was asked for shows in the services.
function Invoke-ServiceSwitch([string]$argument) {
    $executable = Join-Path $Folder 'TaviLumbraService.exe'
    Start-Process -FilePath $executable -ArgumentList $argument -Wait -WindowStyle Hidden
}

# Somebody may still run the program that is to be replaced: a copy that is refused is tried again.
function Copy-Program([string]$program) {
    for ($left = $copyAttempts - 1; ; $left--) {
        try {
            Copy-Item -LiteralPath (Join-Path $source $program) -Destination $Folder -Force
            return
        } catch {
            if ($left -eq 0) { throw }
            Start-Sleep -Seconds 1
        }
    }
}

function Copy-Programs {
    New-Item -ItemType Directory -Path $Folder -Force | Out-Null
    foreach ($program in $programs) { Copy-Program $program }
}

# Does nothing when the service runs, as after a stop that never came to its end.
function Start-InstalledService {
    Start-Service -Name $serviceName
    (Get-Service -Name $serviceName).WaitForStatus('Running', [TimeSpan]::FromSeconds(30))
}

# The id of the service's process; 0 when it does not run.
function Get-ServiceProcessId {
    $service = Get-CimInstance -ClassName Win32_Service -Filter "Name='$serviceName'"
    if ($service) { return [int]$service.ProcessId }
    return 0
}

# Waits for the process, not for the state: the service reports stopped before its executable can be replaced.
function Wait-ServiceProcess([int]$processId) {
    if ($processId -eq 0) { return }
    $process = Get-Process -Id $processId -ErrorAction SilentlyContinue
    if ($process -and -not $process.WaitForExit($stopSeconds * 1000)) {
        throw "$serviceName still runs $stopSeconds seconds after it was told to stop."
    }
}

# A stop that takes longer than 30 seconds is reported as failed (1053), and goes on all the same.
function Stop-InstalledService {
    $service = Get-InstalledService
    if (-not $service) { return }
    $processId = Get-ServiceProcessId
    if ($service.Status -ne 'Stopped') {
        try { Stop-Service -Name $serviceName } catch { Write-Host "Waiting for ${serviceName}: $_" }
    }
    Wait-ServiceProcess $processId
}

# 0 when the client's own examination finds nothing wrong.
function Test-Installation {
    $service = Get-InstalledService
    if (-not $service) {
        Write-Host "$serviceName is not installed."
        return $false
    }
    foreach ($program in $programs) {
        $path = Join-Path $Folder $program
        $version = if (Test-Path -LiteralPath $path) { (Get-Item -LiteralPath $path).VersionInfo.FileVersion } else { 'missing' }
        Write-Host ('{0,-24} {1}' -f $program, $version)
    }
    & (Join-Path $Folder 'TaviListenClient.exe') doctor | Out-Host
    return ($LASTEXITCODE -eq 0)
}

function Install-Package {
    if (Get-InstalledService) {
        throw "$serviceName is installed already. Use -Action Upgrade."
    }
    Copy-Programs
    Invoke-ServiceSwitch '/install'
    if (-not (Get-InstalledService)) {
        throw 'The service was not registered. net.log in %ProgramData%\ZenloTavi\Log says why.'
    }
    Start-InstalledService
    Write-Host "$serviceName is installed in $Folder and runs."
}

function Update-Package {
    if (-not (Get-InstalledService)) {
        throw "$serviceName is not installed. Use -Action Install."
    }
    # The databases keep the position; what changes meanwhile is in the journal and is read after the start.
    # Whatever happens to the copies, the machine is not left without its service.
    try {
        Stop-InstalledService
        Copy-Programs
    } finally {
        Start-InstalledService
    }
    Write-Host "$serviceName was upgraded and runs. The client has to send its start request again."
}

function Remove-Package {
    if (Get-InstalledService) {
        $processId = Get-ServiceProcessId
        Invoke-ServiceSwitch '/uninstall'
        Wait-ServiceProcess $processId
        for ($i = 0; (Get-InstalledService) -and $i -lt 60; $i++) { Start-Sleep -Milliseconds 500 }
        if (Get-InstalledService) {
            throw 'The service could not be removed. net.log in %ProgramData%\ZenloTavi\Log says why.'
        }
    }
    if (Test-Path -LiteralPath $Folder) {
        foreach ($program in $programs) {
            Remove-Item -LiteralPath (Join-Path $Folder $program) -Force -ErrorAction SilentlyContinue
        }
        # Only when nothing of others is in it.
        if (-not (Get-ChildItem -LiteralPath $Folder -Force)) { Remove-Item -LiteralPath $Folder -Force }
    }
    if ($RemoveLogs) {
        Remove-Item -LiteralPath (Join-Path $env:ProgramData 'ZenloTavi\Log') -Recurse -Force -ErrorAction SilentlyContinue
    }
    Write-Host "$serviceName is removed."
}

try {
    if ($Action -ne 'Check') { Assert-Administrator }
    switch ($Action) {
        'Install' { Install-Package; Test-Installation | Out-Null }
        'Upgrade' { Update-Package; Test-Installation | Out-Null }
        'Remove' { Remove-Package }
        'Check' { if (-not (Test-Installation)) { exit 1 } }
    }
    exit 0
} catch {
    Write-Host "error: $_"
    exit 1
}
